// Projects: a project is a directory with the data and databases of one user or study in fixed
// sub-directories:
//
//   CURVEDB  DATA  METHDB  PEAKDB  SAMPLEDB  TABLEDB
//
// It is described by a file record: the parent directory, the project's name, and an extension,
// usually "PRO", that is part of the directory's name when not empty. The current project stands
// in the global store under "PROJECT" of section "SystemList". Selecting a project repoints the
// current file of every database kind into its sub-directories.

#ifndef TERVALON_PROJECTS_H_
#define TERVALON_PROJECTS_H_

#include "tervalon/settings.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// The message that asks a service's window to close; both parameters are 0. It answers 0 to refuse.
#define PRO_CLOSE_REQUEST 1036

// Reads the current project. Returns 1; 0 when "PROJECT" is not in the store. One that was never
// set is all empty.
TERVALON_API int32_t TERVALON_CALL ProGetCurrent(SystemFile* project);

// Closes the running services, makes a project the current one and repoints the files of its
// databases. Whether the project's directory exists is not asked.
// Returns 1; 0 when a service or the user declined, and, before any is asked, for a project whose
// directories cannot be stored (too long, or with a comma) or are there but cannot be read. Then
// nothing is set.
TERVALON_API int32_t TERVALON_CALL ProSetCurrent(TvWindow owner, const SystemFile* project);

// Repoints the current files "CURVE_DB", "RAW", "METHOD_DB", "PEAK_DB", "SAMPLES_DB" and
// "PTABLE_DB" into a project's sub-directories: to the first file of the kind there, or to one of
// the project's name when there is none.
// Returns 1; 0, and nothing is set, for a project whose directories cannot be stored or read.
TERVALON_API int32_t TERVALON_CALL ProSetGlobalDirectories(const SystemFile* project);

// Creates a project's directory and its sub-directories, where they do not exist yet; one that
// differs from its name in case only exists. A failure leaves everything that is there, so that a
// second attempt goes on from it. The directory's path is limited to 29 characters, which keeps the
// project's longest file path within 64.
// Returns 1; 0 after a message box that says why.
TERVALON_API int32_t TERVALON_CALL ProCreateDirectory(TvWindow owner, const SystemFile* project);

// Looks in a record's directory for the first file, or with `want_directory` the first directory,
// of the record's extension (empty: one without a point), first in the alphabet. Nothing outside
// the directory is found: a name with a separator in it, which some systems allow, is passed over.
// So is one with a comma or a line end, which no record's line can hold.
// Returns 1 and stores its name, up to the first point, in the record; 0 when there is none or the
// directory cannot be read.
TERVALON_API int32_t TERVALON_CALL ProFindFirstFileName(SystemFile* file, int32_t want_directory);

// Closes all running services, when the user agrees; asks nothing when none is running. In the
// order of their slots each one's window is sent PRO_CLOSE_REQUEST and, when its answer is not 0,
// destroyed; one without a window is closed through AppSetCloseService's callback. The first that
// refuses ends it: those before it stay closed.
// Returns 1 when no service is left running, else 0.
TERVALON_API int32_t TERVALON_CALL ProShutDownServices(TvWindow owner);

// Lets the user choose a project in an open-file dialog, made from the application's dialog
// template "PROJECT_OPEN" when its resources have one. A project that does not exist is refused;
// where its parent directory does, the user is offered to create it.
// Returns 1 when a project was chosen: its directory, name and extension are stored, the record's
// numbers left alone. Returns 0 otherwise; a dialog that cannot be shown is reported.
TERVALON_API int32_t TERVALON_CALL ProFileOpen(TvWindow owner, SystemFile* project);

TERVALON_END_DECLS

#endif  // TERVALON_PROJECTS_H_
