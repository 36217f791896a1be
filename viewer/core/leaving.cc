#include "viewer/core/leaving.h"

#include <algorithm>

#include "tools/data/files.h"
#include "tools/exchange/byte_sink.h"
#include "tools/exchange/export_format.h"
#include "tools/pictures/picture.h"
#include "tools/pictures/plot_drawing.h"
#include "tools/print/failure.h"

namespace tervalon::viewer {
namespace {

constexpr PictureSize kSize = {1200, 675, 96};  // at the resolution of a screen
constexpr double kPoints = 9;                   // of text

struct LeavingKind {
  const char* title;
  const char* ending;
  void (*save)(Document& document, const std::string& path);
};

void SavePicture(Document& document, const std::string& path) {
  const int32_t resolution = tools::Picture::UsualResolution(path);
  if (resolution == 0) {
    throw tools::WrongUsage("the name of a picture ends in " +
                            std::string(tools::Picture::Endings()));
  }
  const auto scaled = [&](int32_t pixels) { return pixels * resolution / kSize.pixels_per_inch; };
  const PictureSize size = {scaled(kSize.width), scaled(kSize.height), resolution};
  tools::Picture picture(path, size);
  {
    tools::PlotPainter painter(picture.dc(), size, tools::ThemeOf(tools::ThemeNames()[0]), kPoints);
    painter.Paint(document.chart()->PlanAnew(size, painter.measure(), document.Title()));
  }
  picture.Finish();
}

void SaveTable(Document& document, const std::string& path) {
  tools::Document table;
  table.sections.push_back(document.Table());
  if (!table.sections[0].columns.empty()) table.csv_section = table.sections[0].key;
  std::string text;
  tools::Output output(text);
  tools::PrintCsv(table, output);
  output.Flush();
  tools::StagedFile file(path);
  file.Write(text);
  file.Commit();
}

void SaveMzml(Document& document, const std::string& path) {
  tools::ExportSelection selection;
  selection.process = document.data_set().process;
  if (selection.process == 0) selection.functions = {document.data_set().function.value_or(1)};
  const std::optional<Window>& x = document.chart()->view().x;
  if (document.kind() == Kind::kSpectrum) {
    const auto& spectrum = static_cast<const SpectrumDocument&>(document);
    if (spectrum.combined()) {
      selection.times = {spectrum.combined()->low, spectrum.combined()->high};
    } else {
      selection.scans = {spectrum.scan(), spectrum.scan()};
    }
  } else if (x) {
    selection.times = {x->low, x->high};
  }
  tools::FindFormat("mzml")->write(tools::ExportRun(document.run()->path(), selection), {}, path);
}

constexpr LeavingKind kKinds[] = {{"Save picture", ".png", SavePicture},
                                  {"Save as CSV", ".csv", SaveTable},
                                  {"Save as mzML", ".mzML", SaveMzml}};
const LeavingKind& Of(Leaving kind) { return kKinds[static_cast<size_t>(kind)]; }

}  // namespace

const char* TitleOf(Leaving kind) { return Of(kind).title; }

std::string UsualName(const Document& document, Leaving kind) {
  return tools::NameOf(tools::PathOf(document.run()->name()).stem()) + Of(kind).ending;
}

void SaveAs(Document& document, Leaving kind, const std::string& path) {
  Of(kind).save(document, path);
}

}  // namespace tervalon::viewer
