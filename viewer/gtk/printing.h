// Plots on paper, and a look at the page before.

#ifndef VIEWER_GTK_PRINTING_H_
#define VIEWER_GTK_PRINTING_H_

#include <gtk/gtk.h>

#include <string>

#include "viewer/core/document.h"

namespace tervalon::viewer {

// Asks for a printer and prints, or shows the page. Returns why it failed; empty: it did not.
std::string PrintDocument(Document& document, GtkWindow* parent, bool preview);

}  // namespace tervalon::viewer

#endif  // VIEWER_GTK_PRINTING_H_
