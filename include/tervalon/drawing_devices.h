// Device contexts, pens and fonts where the platform has none of its own: images that are stored as
// PNG, and SVG and PDF files. Not on Windows, where they are the platform's.

#ifndef TERVALON_DRAWING_DEVICES_H_
#define TERVALON_DRAWING_DEVICES_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#if !defined(_WIN32)

struct _cairo;  // a cairo_t, by its own name: NOLINT(clang-diagnostic-reserved-identifier)

// Create a device context of width by height pixels, white, whose pixel (0, 0) is the upper left
// one. Sizes are 1 to 32767 pixels, and an image has at most 2^28 of them; the resolution, 1 to
// 9600 pixels per inch, gives a picture's size on paper and the size of its text. The caller
// deletes it with TvDeleteDC. Return NULL when an argument is out of range, memory runs out, a file
// cannot be written at that path, or there is no Cairo (libcairo.so.2), which is loaded for them.
//
// An SVG or PDF file is put in its place by TvDeleteDC, complete; until then a file already there
// stays as it is. In an SVG file texts are texts in fonts that are named, to be searched and
// edited, or with TvCreateSvgOutlinesDC the outlines of their letters, which look the same
// everywhere. In these files lines of one pixel are as wide as is seen well, 1/288 to 1/96 inch.
TERVALON_API TvDC TERVALON_CALL TvCreateImageDC(int32_t width, int32_t height,
                                                int32_t pixels_per_inch);
TERVALON_API TvDC TERVALON_CALL TvCreateSvgDC(const char* path, int32_t width, int32_t height,
                                              int32_t pixels_per_inch);
TERVALON_API TvDC TERVALON_CALL TvCreateSvgOutlinesDC(const char* path, int32_t width,
                                                      int32_t height, int32_t pixels_per_inch);
TERVALON_API TvDC TERVALON_CALL TvCreatePdfDC(const char* path, int32_t width, int32_t height,
                                              int32_t pixels_per_inch);

// Creates a device context that draws on what a program draws on with Cairo (a cairo_t): a window's
// or a printer's page, of which width by height pixels are its own. Nothing is painted; pixel (0,
// 0) lies where the context's transformation puts it, which also gives a pixel's size, and its clip
// holds. pixels_per_inch, as above, gives the size of text. TvDeleteDC leaves the context, of which
// a reference is kept so long, as it was; meanwhile only the device context draws on it. Returns
// NULL for NULL, a context in error, sizes out of range as above, and when memory runs out.
TERVALON_API TvDC TERVALON_CALL TvCreateCairoDC(struct _cairo* cairo, int32_t width, int32_t height,
                                                int32_t pixels_per_inch);

// Ends a page of a PDF file and begins the next one, white and of the same size; what is selected
// stays. Returns 1, or 0 when dc is no live device context of a PDF file or memory runs out.
TERVALON_API int32_t TERVALON_CALL TvNextPage(TvDC dc);

// Stores what an image device context shows as a PNG file; a file already there is replaced whole.
// Returns 1, or 0 when dc is no live image or the file cannot be written.
TERVALON_API int32_t TERVALON_CALL TvSavePng(TvDC dc, const char* path);

// Ends a device context; an SVG or PDF file is written. Returns 1, or 0 when dc is not live or its
// file cannot be written (the context is gone all the same).
TERVALON_API int32_t TERVALON_CALL TvDeleteDC(TvDC dc);

// Creates a pen: style 0 solid, 1 dashes, 2 dots, 3 dashes and dots, 4 dashes and two dots, 5 none;
// width in pixels (0 counts as 1). The caller deletes it with
// TvDeleteObject. Returns NULL for another style, a negative width, or when memory runs out.
TERVALON_API TvPen TERVALON_CALL TvCreatePen(int32_t style, int32_t width, TvColour colour);

// Creates a font. face: the name of a family as the system's font configuration knows it; NULL, ""
// or a name that it does not have gives a plain sans serif. height in pixels: of a whole line, or
// negated of the characters alone; 0 a usual size. weight: 400 normal, 700 bold. The caller deletes
// it with TvDeleteObject. Returns NULL when the height is beyond +-10000 or memory runs out.
TERVALON_API TvFont TERVALON_CALL TvCreateFont(const char* face, int32_t height, int32_t weight);

// Deletes a pen or a font. Device contexts that have it selected keep drawing with it. Returns 1,
// or 0 when it is not live.
TERVALON_API int32_t TERVALON_CALL TvDeleteObject(void* object);

#endif

TERVALON_END_DECLS

#endif  // TERVALON_DRAWING_DEVICES_H_
