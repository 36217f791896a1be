// Paths and file names: taken apart, put together, turned into file records and back.
//
// A path is drive, directory, name and extension. The directory reaches to the last "\" or "/", the
// extension begins at the last point behind it; a name of nothing but points ("..") has no
// extension. Where a directory and a name, or a name and an extension are joined, a "\" or a point
// is put between them unless one is there. The rules are the same on every platform.
//
// Output buffers have `size` bytes, terminating zero included. A result that does not fit is
// refused: 0, and the whole buffer filled with zeros. A size below 1 gives 0.

#ifndef TERVALON_PATHS_H_
#define TERVALON_PATHS_H_

#include "tervalon/settings.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Makes a path of a file (optional), with the default directory (optional) when the file has no
// drive and directory of its own, and the default extension (optional, with or without a point)
// when it has no extension. A file that ends in a point has an extension, an empty one.
// Returns 1 or 0.
TERVALON_API int32_t TERVALON_CALL CreatePathName(const char* file, const char* directory,
                                                  const char* extension, char* out, int32_t size);

// The same with the directory of a record and, when `use_extension` is set, its extension as
// defaults; its name plays no part.
TERVALON_API int32_t TERVALON_CALL CreateKXFilePathName(const char* file,
                                                        const SystemFile* defaults,
                                                        int32_t use_extension, char* out,
                                                        int32_t size);

// Fills directory, name and extension (without its point) of a record from a path and leaves its
// numbers alone. The directory keeps the separator that the path has behind it, and gets none
// otherwise.
// Returns 1; 0 when a part was too long for its field and was cut.
TERVALON_API int32_t TERVALON_CALL ConvertPathToKXFile(SystemFile* file, const char* path);

// Makes the path of a record.
// Returns 1; 0 when it did not fit: then the output holds as much of it as fits.
TERVALON_API int32_t TERVALON_CALL ConvertKXFileToPath(char* out, int32_t size,
                                                       const SystemFile* file);

// ConvertPathToKXFile with the arguments the other way round.
TERVALON_API int32_t TERVALON_CALL StringToFile(const char* path, SystemFile* file);

// Copy a part of a path: drive and directory; the name without extension; the extension without its
// point. Return 1 or 0.
TERVALON_API int32_t TERVALON_CALL GetPathDirectory(const char* path, char* out, int32_t size);
TERVALON_API int32_t TERVALON_CALL GetPathName(const char* path, char* out, int32_t size);
TERVALON_API int32_t TERVALON_CALL GetPathExtension(const char* path, char* out, int32_t size);

// Returns 1 when the path has this extension (without its point), compared without regard to case.
TERVALON_API int32_t TERVALON_CALL IsFileOfType(const char* path, const char* extension);

// Returns 1 when a name has none of the characters '\/:*?<>|. in it. The point is among them: these
// are names without extension.
TERVALON_API int32_t TERVALON_CALL IsValidFilename(const char* name);

// Returns 1 when a path has none of the characters /*?<>| in it.
TERVALON_API int32_t TERVALON_CALL IsValidPath(const char* path);

// Returns 1 when there is a directory of this path, whatever its case.
TERVALON_API int32_t TERVALON_CALL DirectoryExists(const char* path);

TERVALON_END_DECLS

#endif  // TERVALON_PATHS_H_
