// The options of tervalon plot, and what they mean.

#ifndef TOOLS_COMMANDS_PLOT_ARGUMENTS_H_
#define TOOLS_COMMANDS_PLOT_ARGUMENTS_H_

#include <string>
#include <vector>

#include "tools/commands/command.h"
#include "tools/commands/processing_arguments.h"
#include "tools/data/trace_reader.h"
#include "tools/pictures/picture.h"
#include "tools/pictures/picture_plan.h"
#include "tools/pictures/plot_series.h"

namespace tervalon::tools {

struct PlotOptions {
  std::vector<std::string> directories;
  DataSet data_set;
  std::string functions;
  std::string traces;
  std::string scans;
  std::string times;
  bool map = false;
  bool pages = false;
  std::string points;
  std::string output;
  std::string format;  // "": as the output's name ends
  std::string size;
  int32_t pixels_per_inch = 0;
  std::string text_size;
  std::string theme;
  std::string layout = "stacked";
  std::string x_range;
  std::string y_range;
  std::string y_scale = "linear";
  std::vector<std::string> magnified;
  std::vector<std::string> marks;
  std::vector<std::string> names;
  std::string title;
  bool has_title = false;
  bool peaks = false;
  bool centroids = false;
  PeakSearchOptions search = {.threshold = ""};  // the usual, of peaks or of centroids
  bool no_labels = false;
  PictureStyle style;
};

// What a command line asks for, checked.
struct PlotRequest {
  std::vector<std::string> directories;
  std::vector<DataSet> data_sets;  // of each directory
  std::vector<TraceRequest> traces;
  std::vector<ScanRequest> scans;
  std::string path;
  PictureSize size = {};
  double points = 0;  // of the text
  PictureStyle style;

  bool pages = false;                            // for each trace and scan one
  std::optional<PrcPeakSearch> peaks = {};       // that are shown in chromatograms
  std::optional<PrcCentroiding> centroids = {};  // and in spectra

  size_t SourceCount() const { return directories.size() * data_sets.size(); }
  size_t SeriesCount() const { return (traces.size() + scans.size()) * SourceCount(); }
  size_t SeriesOfPage() const { return pages ? SourceCount() : SeriesCount(); }
};

// Throws WrongUsage.
PlotRequest ParsePlotOptions(const PlotOptions& options);

}  // namespace tervalon::tools

#endif  // TOOLS_COMMANDS_PLOT_ARGUMENTS_H_
