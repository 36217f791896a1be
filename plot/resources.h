// The pens, font, colours and data styles that plots are drawn with, per device context.

#ifndef PLOT_RESOURCES_H_
#define PLOT_RESOURCES_H_

#include "tervalon/plot_resources.h"

namespace tervalon::plot {

// The resources in use for a device context, nullptr: those for no context in particular. Those of
// one that is not live, or that cannot be made, have null pens and a null font.
PltResources ResourcesFor(TvDC dc);

// Releases everything of every device context.
void ReleaseAllResources();

}  // namespace tervalon::plot

#endif  // PLOT_RESOURCES_H_
