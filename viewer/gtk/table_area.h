// The area of a window that shows a table; however long it is, only what is seen is made.

#ifndef VIEWER_GTK_TABLE_AREA_H_
#define VIEWER_GTK_TABLE_AREA_H_

#include <gtk/gtk.h>

#include "viewer/core/document.h"

namespace tervalon::viewer {

// A scrolled list. The caller owns it as any new widget; the document must outlive it.
GtkWidget* MakeTableArea(const TableDocument& document);

}  // namespace tervalon::viewer

#endif  // VIEWER_GTK_TABLE_AREA_H_
