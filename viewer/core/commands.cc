#include "viewer/core/commands.h"

#include <algorithm>

#include "tools/print/failure.h"
#include "viewer/core/leaving.h"

namespace tervalon::viewer {
namespace {

using tools::Layout;

constexpr double kZoomStep = 0.5;
constexpr double kMoveStep = 0.25;

bool HasDocument(const Workspace& workspace) { return workspace.active() != nullptr; }
Chart* ActiveChart(const Workspace& workspace) {
  return workspace.active() != nullptr ? workspace.active()->chart() : nullptr;
}
bool HasChart(const Workspace& workspace) { return ActiveChart(workspace) != nullptr; }
template <typename Kept, Kind kKind>
Kept* Active(const Workspace& workspace) {
  Document* const active = workspace.active();
  return active != nullptr && active->kind() == kKind ? static_cast<Kept*>(active) : nullptr;
}
constexpr auto* ActiveTraces = &Active<ChromatogramDocument, Kind::kChromatogram>;
constexpr auto* ActiveSpectrum = &Active<SpectrumDocument, Kind::kSpectrum>;
bool HasTraces(const Workspace& workspace) { return ActiveTraces(workspace) != nullptr; }
bool FindsTraces(const Workspace& workspace) { return workspace.Traces() != nullptr; }
bool HasSpectrum(const Workspace& workspace) { return ActiveSpectrum(workspace) != nullptr; }
bool HasBackground(const Workspace& workspace) {
  return HasSpectrum(workspace) && ActiveSpectrum(workspace)->background().has_value();
}

void Open(Workspace& workspace) {
  if (const auto path = workspace.shell().AskForRun(workspace.Folder())) workspace.Open(*path);
}
void Close(Workspace& workspace) { workspace.Close(*workspace.active()); }

template <Kind kKind>
void Show(Workspace& workspace) {
  workspace.Show(kKind);
}

template <size_t kNumber>
bool HasRecent(const Workspace& workspace) {
  return workspace.recent().size() > kNumber;
}
template <size_t kNumber>
void OpenRecent(Workspace& workspace) {
  workspace.Open(std::string(workspace.recent()[kNumber]));
}

template <typename Action>
void ChangeView(Workspace& workspace, Action action) {
  action(*ActiveChart(workspace));
  workspace.ViewChanged(*workspace.active());
}
void ZoomIn(Workspace& workspace) {
  ChangeView(workspace, [](Chart& chart) { chart.ZoomMiddle(kZoomStep); });
}
void ZoomOut(Workspace& workspace) {
  ChangeView(workspace, [](Chart& chart) { chart.ZoomMiddle(1 / kZoomStep); });
}
void ZoomHigher(Workspace& workspace) {
  ChangeView(workspace, [](Chart& chart) { chart.ZoomHeight(kZoomStep); });
}
void ZoomLower(Workspace& workspace) {
  ChangeView(workspace, [](Chart& chart) { chart.ZoomHeight(1 / kZoomStep); });
}
void SeeAll(Workspace& workspace) {
  ChangeView(workspace, [](Chart& chart) { chart.SeeAll(); });
}
void SeeLast(Workspace& workspace) {
  ChangeView(workspace, [](Chart& chart) { chart.SeeLast(); });
}
bool HasLast(const Workspace& workspace) {
  return HasChart(workspace) && ActiveChart(workspace)->has_last();
}
void MoveLeft(Workspace& workspace) {
  ChangeView(workspace, [](Chart& chart) { chart.Move(-kMoveStep); });
}
void MoveRight(Workspace& workspace) {
  ChangeView(workspace, [](Chart& chart) { chart.Move(kMoveStep); });
}

template <bool Appearance::*kMember>
void Toggle(Workspace& workspace) {
  workspace.appearance().*kMember = !(workspace.appearance().*kMember);
  workspace.AppearanceChanged();
}
template <bool Appearance::*kMember>
bool IsSet(const Workspace& workspace) {
  return workspace.appearance().*kMember;
}

void ToggleLinked(Workspace& workspace) { workspace.set_linked(!workspace.linked()); }
bool IsLinked(const Workspace& workspace) { return workspace.linked(); }

template <Layout kLayout>
void SetLayout(Workspace& workspace) {
  ActiveTraces(workspace)->set_layout(kLayout);
  workspace.Restyle(*workspace.active());
}
template <Layout kLayout>
bool HasLayout(const Workspace& workspace) {
  return HasTraces(workspace) && ActiveTraces(workspace)->layout() == kLayout;
}

void SetTraces(Workspace& workspace) {
  ChromatogramDocument& document = *workspace.Traces();
  const auto text = workspace.shell().AskForText(
      "Traces",
      "Masses, sums and ranges (184+200-150, 100_200), TIC, BPI, AN1:", document.traces());
  if (!text) return;
  if (workspace.Try(nullptr, [&] { document.SetTraces(*text); })) workspace.TracesChanged(document);
}
void RemoveTrace(Workspace& workspace) {
  ActiveTraces(workspace)->RemoveLastTrace();
  workspace.TracesChanged(*ActiveTraces(workspace));
}
void Magnify(Workspace& workspace) {
  Document& document = *workspace.active();
  const auto text = workspace.shell().AskForText(
      "Magnify", "Ranges and factors (400-700x10, 800-900x5); none: nothing is magnified",
      document.magnified());
  if (!text) return;
  if (workspace.Try(nullptr, [&] { document.SetMagnified(*text); })) workspace.Restyle(document);
}
bool CanMagnify(const Workspace& workspace) {
  return HasChart(workspace) && workspace.active()->kind() != Kind::kMap;
}

template <int32_t kWay>
void MoveScan(Workspace& workspace) {
  SpectrumDocument& spectrum = *ActiveSpectrum(workspace);
  if (workspace.Try(&spectrum, [&] { spectrum.MoveBy(kWay); })) workspace.Reread(spectrum);
}
void ClearBackground(Workspace& workspace) {
  ActiveSpectrum(workspace)->SetBackground(std::nullopt);
  workspace.Reread(*workspace.active());
}

template <auto kLeave>
void Leave(Workspace& workspace) {
  Document& document = *workspace.active();
  const Leaving kind = kLeave;
  const auto path = workspace.shell().AskForFile(TitleOf(kind), UsualName(document, kind));
  if (!path) return;
  if (workspace.Try(nullptr, [&] { SaveAs(document, kind, *path); })) {
    workspace.shell().Status("Saved " + *path);
  }
}

void Copy(Workspace& workspace) { workspace.shell().Copy(*workspace.active()); }
void Print(Workspace& workspace) { workspace.shell().Print(*workspace.active(), false); }
void Preview(Workspace& workspace) { workspace.shell().Print(*workspace.active(), true); }
void Quit(Workspace& workspace) { workspace.shell().Quit(); }
void Stop(Workspace& workspace) { workspace.Stop(); }

void ChooseProject(Workspace& workspace) { workspace.ChooseProject(); }
bool HasOther(const Workspace& workspace) { return workspace.HasOther(); }
template <int kWay>
void ShowOther(Workspace& workspace) {
  workspace.ShowOther(kWay);
}
template <Arrangement kArrangement>
void Arrange(Workspace& workspace) {
  workspace.shell().Arrange(kArrangement);
}

constexpr const char* kLine = "";

constexpr Command kCommands[] = {
    {"open", "_File", "_Open...", "Ctrl+O", nullptr, Open},
    {"project", "_File", "Pro_ject...", "", nullptr, ChooseProject},
    {"close", "_File", "_Close", "Ctrl+W", HasDocument, Close},
    {"", "_File", kLine, "", nullptr, nullptr},
    {"save-picture", "_File", "_Save picture...", "Ctrl+S", HasChart, Leave<Leaving::kPicture>},
    {"save-table", "_File", "Save as CS_V...", "", HasDocument, Leave<Leaving::kTable>},
    {"save-mzml", "_File", "Save as _mzML...", "", HasChart, Leave<Leaving::kMzml>},
    {"", "_File", kLine, "", nullptr, nullptr},
    {"preview", "_File", "Print previe_w", "Ctrl+Shift+P", HasChart, Preview},
    {"print", "_File", "_Print...", "Ctrl+P", HasChart, Print},
    {"", "_File", kLine, "", nullptr, nullptr},
    {"recent-1", "_File", "_1", "", HasRecent<0>, OpenRecent<0>},
    {"recent-2", "_File", "_2", "", HasRecent<1>, OpenRecent<1>},
    {"recent-3", "_File", "_3", "", HasRecent<2>, OpenRecent<2>},
    {"recent-4", "_File", "_4", "", HasRecent<3>, OpenRecent<3>},
    {"", "_File", kLine, "", nullptr, nullptr},
    {"quit", "_File", "_Quit", "Ctrl+Q", nullptr, Quit},
    {"copy", "_Edit", "_Copy", "Ctrl+C", HasDocument, Copy},
    {"traces", "_Edit", "_Traces...", "Ctrl+T", FindsTraces, SetTraces},
    {"remove-trace", "_Edit", "_Remove last trace", "Delete", HasTraces, RemoveTrace},
    {"clear-background", "_Edit", "No _background", "Ctrl+B", HasBackground, ClearBackground},
    {"stop", "_Edit", "_Stop reading", "Escape", nullptr, Stop},
    {"chromatogram", "_Show", "_Chromatogram", "Ctrl+1", HasDocument, Show<Kind::kChromatogram>},
    {"spectrum", "_Show", "_Spectrum", "Ctrl+2", HasDocument, Show<Kind::kSpectrum>},
    {"map", "_Show", "_Map of time and mass", "Ctrl+3", HasDocument, Show<Kind::kMap>},
    {"header", "_Show", "_Header", "Ctrl+4", HasDocument, Show<Kind::kHeader>},
    {"history", "_Show", "H_istory", "Ctrl+5", HasDocument, Show<Kind::kHistory>},
    {"scans", "_Show", "Sc_an table", "Ctrl+6", HasDocument, Show<Kind::kScans>},
    {"", "_Show", kLine, "", nullptr, nullptr},
    {"next-function", "_Show", "Next _function", "Ctrl+Page_Down", HasOther, ShowOther<1>},
    {"last-function", "_Show", "Previous f_unction", "Ctrl+Page_Up", HasOther, ShowOther<-1>},
    {"next-scan", "_Show", "_Next scan", "Page_Down", HasSpectrum, MoveScan<1>},
    {"last-scan", "_Show", "_Previous scan", "Page_Up", HasSpectrum, MoveScan<-1>},
    {"see-all", "_View", "_All", "Home", HasChart, SeeAll},
    {"see-last", "_View", "_Undo zoom", "BackSpace", HasLast, SeeLast},
    {"zoom-in", "_View", "Zoom _in", "Ctrl+plus", HasChart, ZoomIn},
    {"zoom-out", "_View", "Zoom _out", "Ctrl+minus", HasChart, ZoomOut},
    {"left", "_View", "To the _left", "Left", HasChart, MoveLeft},
    {"right", "_View", "To the _right", "Right", HasChart, MoveRight},
    {"higher", "_View", "_Higher", "Up", HasChart, ZoomHigher},
    {"lower", "_View", "Lo_wer", "Down", HasChart, ZoomLower},
    {"magnify", "_View", "_Magnify...", "Ctrl+M", CanMagnify, Magnify},
    {"", "_View", kLine, "", nullptr, nullptr},
    {"stacked", "_View", "_Stacked", "", HasTraces, SetLayout<Layout::kStacked>,
     HasLayout<Layout::kStacked>},
    {"overlaid", "_View", "O_verlaid", "", HasTraces, SetLayout<Layout::kOverlaid>,
     HasLayout<Layout::kOverlaid>},
    {"linked", "_View", "_Times linked", "", nullptr, ToggleLinked, IsLinked},
    {"", "_View", kLine, "", nullptr, nullptr},
    {"percent", "_View", "_Percent", "", nullptr, Toggle<&Appearance::percent>,
     IsSet<&Appearance::percent>},
    {"labels", "_View", "Peak la_bels", "", nullptr, Toggle<&Appearance::labels>,
     IsSet<&Appearance::labels>},
    {"grid", "_View", "_Grid", "", nullptr, Toggle<&Appearance::grid>, IsSet<&Appearance::grid>},
    {"filled", "_View", "_Filled", "", nullptr, Toggle<&Appearance::filled>,
     IsSet<&Appearance::filled>},
    {"next-window", "_Window", "_Next", "F6", HasDocument, Arrange<Arrangement::kNext>},
    {"tile", "_Window", "_Tile", "F9", HasDocument, Arrange<Arrangement::kTiled>},
    {"cascade", "_Window", "_Cascade", "", HasDocument, Arrange<Arrangement::kCascaded>},
    {"maximise", "_Window", "_Maximise or restore", "F11", HasDocument,
     Arrange<Arrangement::kMaximised>},
};

}  // namespace

std::span<const Command> Commands() { return kCommands; }

const Command* FindCommand(std::string_view id) {
  const auto* const found = std::ranges::find(kCommands, id, &Command::id);
  return found != std::end(kCommands) && !id.empty() ? found : nullptr;
}

bool RunCommand(const Command& command, Workspace& workspace) {
  if (command.run == nullptr || (command.can != nullptr && !command.can(workspace))) return false;
  command.run(workspace);
  workspace.shell().RefreshCommands();
  return true;
}

}  // namespace tervalon::viewer
