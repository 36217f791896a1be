#include "viewer/core/workspace.h"

#include <tervalon/paths.h>
#include <tervalon/projects.h>
#include <tervalon/settings.h>

#include <algorithm>
#include <new>

#include "tools/data/files.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::viewer {
namespace {

constexpr size_t kMostRecent = 9;
constexpr const char* kSection = "Viewer";
constexpr int kMassDecimals = 4;
constexpr int kTimeDecimals = 3;

bool ShowsTimes(Kind kind) { return kind == Kind::kChromatogram || kind == Kind::kMap; }

bool IsUnique(Kind kind) { return kind != Kind::kChromatogram && kind != Kind::kSpectrum; }

std::string TextOf(const std::exception& failure) {
  if (dynamic_cast<const std::bad_alloc*>(&failure) != nullptr) return "Out of memory";
  std::string text = failure.what();
  // Which option of a command line it would be is no matter here.
  if (const size_t end = text.find(": "); text.starts_with("--") && end != std::string::npos) {
    text.erase(0, end + 2);
  }
  return text;
}

std::string ReadSetting(const std::string& key) {
  char text[513] = "";
  GetIniString(kSection, key.c_str(), "", text, sizeof text);
  return text;
}

// Every write is forced to the disk: only what is new.
void WriteSetting(const std::string& key, const std::string& value) {
  if (ReadSetting(key) == value) return;
  SetIniString(kSection, key.c_str(), value.c_str(), 0);
}

constexpr const char* kLinked = "Linked";
constexpr std::chrono::milliseconds kBetweenPieces(150);  // of what takes long, that are shown

std::string RecentKey(size_t number) { return "Recent" + std::to_string(number + 1); }

struct Switch {
  const char* key;
  bool Appearance::*member;
};
constexpr Switch kSwitches[] = {{"Percent", &Appearance::percent},
                                {"Labels", &Appearance::labels},
                                {"Grid", &Appearance::grid},
                                {"Filled", &Appearance::filled}};

std::string DocumentKey(size_t number) { return "Document" + std::to_string(number + 1); }

// "0,1,0,|TIC;184.1,2_3,,/data/A.RAW": kind, function, process, state, view along X and Y, path.
std::string LineOf(Document& document) {
  View view;
  if (document.chart() != nullptr) view = document.chart()->view();
  return std::to_string(static_cast<int>(document.kind())) + ',' +
         std::to_string(document.data_set().function.value_or(0)) + ',' +
         std::to_string(document.data_set().process) + ',' + document.State() + ',' +
         SpanText(view.x) + ',' + SpanText(view.y) + ',' + document.run()->path();
}

struct DocumentLine {
  Kind kind = Kind::kChromatogram;
  DataSet data_set;
  std::string state;
  View view;
  std::string path;
};

std::optional<DocumentLine> ParseLine(std::string_view line) {
  std::vector<std::string> parts;
  for (int i = 0; i < 6; ++i) {
    const size_t comma = line.find(',');
    if (comma == std::string_view::npos) return std::nullopt;
    parts.emplace_back(line.substr(0, comma));
    line.remove_prefix(comma + 1);
  }
  const std::optional<double> kind = tools::ParseNumber(parts[0]);
  const std::optional<double> function = tools::ParseNumber(parts[1]);
  const std::optional<double> process = tools::ParseNumber(parts[2]);
  if (!kind || !(*kind >= 0 && *kind < kKinds) || !function || !process || line.empty()) {
    return std::nullopt;
  }
  DocumentLine document;
  document.kind = static_cast<Kind>(*kind);
  if (*function >= 1) document.data_set.function = static_cast<int>(std::min(*function, 32.0));
  document.data_set.process = static_cast<int>(std::clamp(*process, 0.0, 999.0));
  document.state = parts[3];
  document.view = {ParseSpanText(parts[4]), ParseSpanText(parts[5])};
  document.path = line;
  return document;
}

// Where a run is, as the list of current files has it.
void MakeCurrent(const std::string& path) {
  std::error_code error;
  std::filesystem::path whole = std::filesystem::absolute(tools::PathOf(path), error);
  if (!whole.has_filename()) whole = whole.parent_path();
  SystemFile file = {};
  if (ConvertPathToKXFile(&file, tools::NameOf(whole).c_str()) == 0) return;
  SetGlobalFile("SystemList", "RAW", &file, 1);
}

}  // namespace

Workspace::~Workspace() {
  if (loaded_) FreeGlobal(0);
}

void Workspace::Complain(const std::string& text) { shell_.Complain(text); }

void Workspace::Explain(const Document* document, const std::exception& failure) {
  if (document == nullptr) return Complain(TextOf(failure));
  Run& run = *document->run();
  if (run.Refresh() == Run::News::kTrouble) return Complain(run.trouble());
  if (run.trouble().empty()) return Complain(TextOf(failure));
  shell_.Status(run.trouble());
}

template <typename Kept>
Kept* Workspace::Find(const Document& beside, Kind kind) const {
  const auto found = std::ranges::find_if(documents_, [&](const auto& document) {
    return document->kind() == kind && document->run() == beside.run() &&
           IsSame(document->data_set(), beside.data_set());
  });
  return found != documents_.end() ? static_cast<Kept*>(found->get()) : nullptr;
}

Document* Workspace::Add(std::unique_ptr<Document> document) {
  if (!Try(document.get(), [&] { document->Read(appearance_); })) return nullptr;
  if (linked_ && ShowsTimes(document->kind())) {
    const auto seen = std::ranges::find_if(documents_, [](const auto& other) {
      return ShowsTimes(other->kind()) && other->chart()->view().x;
    });
    if (seen != documents_.end()) document->chart()->SetView({(*seen)->chart()->view().x, {}});
  }
  return &Keep(std::move(document));
}

Document& Workspace::Keep(std::unique_ptr<Document> document) {
  Document& kept = *documents_.emplace_back(std::move(document));
  shell_.Add(kept);
  Activate(&kept);
  shell_.WantIdle();
  return kept;
}

bool Workspace::Open(const std::string& path) {
  for (const auto& document : documents_) {
    if (document->run()->path() != path || !document->run()->trouble().empty()) continue;
    shell_.Raise(*document);
    Remember(path);
    return true;
  }
  std::shared_ptr<Run> run;
  if (!Try(nullptr, [&] { run = std::make_shared<Run>(path); })) return false;
  // What has no scans still has a header.
  Document* shown = nullptr;
  if (run->directory().functions().empty()) {
    shown = Add(MakeDocument(Kind::kHeader, run, {}));
  } else {
    shown = Add(MakeDocument(Kind::kChromatogram, run, {.function = 1}));
  }
  if (shown != nullptr) Remember(path);
  return shown != nullptr;
}

Document* Workspace::Show(Kind kind) {
  if (active_ == nullptr) return nullptr;
  Document* const there = IsUnique(kind) ? Find<Document>(*active_, kind) : nullptr;
  if (there == nullptr) return Add(MakeDocument(kind, active_->run(), active_->data_set()));
  shell_.Raise(*there);
  return there;
}

bool Workspace::HasOther() const {
  return active_ != nullptr && active_->run()->DataSets().size() > 1;
}

bool Workspace::ShowOther(int way) {
  if (!HasOther()) return false;
  const std::vector<DataSet> sets = active_->run()->DataSets();
  const auto now = std::ranges::find_if(
      sets, [&](const DataSet& set) { return IsSame(set, active_->data_set()); });
  const auto count = static_cast<ptrdiff_t>(sets.size());
  const ptrdiff_t next = (now - sets.begin() + way + count) % count;
  const Kind kind = active_->kind();
  return Add(MakeDocument(kind, active_->run(), sets[static_cast<size_t>(next)])) != nullptr;
}

void Workspace::Close(Document& document) {
  const auto place =
      std::ranges::find_if(documents_, [&](const auto& own) { return own.get() == &document; });
  if (place == documents_.end()) return;
  const std::unique_ptr<Document> closed = std::move(*place);
  documents_.erase(place);
  if (active_ == closed.get()) active_ = nullptr;
  if (closed->kind() == Kind::kSpectrum) {
    if (auto* const traces = Find<ChromatogramDocument>(*closed, Kind::kChromatogram)) {
      traces->Mark({});
      shell_.Redraw(*traces);
    }
  }
  shell_.Remove(*closed);
  shell_.RefreshCommands();
}

void Workspace::Activate(Document* document) {
  if (active_ == document) return;
  active_ = document;
  shell_.RefreshCommands();
}

void Workspace::Reread(Document& document) {
  if (Try(&document, [&] { document.Read(appearance_); })) shell_.WantIdle();
  if (document.kind() == Kind::kSpectrum) {
    MarkSpectrum(static_cast<const SpectrumDocument&>(document));
  }
  shell_.Refresh(document);
}

void Workspace::Restyle(Document& document) {
  document.Restyle(appearance_);
  shell_.Redraw(document);
}

void Workspace::MarkSpectrum(const SpectrumDocument& spectrum) {
  std::vector<Window> marks;
  if (spectrum.combined()) marks.push_back(*spectrum.combined());
  if (spectrum.background()) marks.push_back(*spectrum.background());
  for (const auto& document : documents_) {
    if (document->kind() != Kind::kChromatogram || document->run() != spectrum.run()) continue;
    static_cast<ChromatogramDocument&>(*document).Mark(marks);
    shell_.Redraw(*document);
  }
}

void Workspace::ViewChanged(Document& document) {
  const auto show = [this](Document& moved) {
    Try(&moved, [&] { moved.ViewMoved(); });
    shell_.Redraw(moved);
  };
  show(document);
  shell_.RefreshCommands();
  shell_.WantIdle();
  if (!linked_ || !ShowsTimes(document.kind())) return;
  const std::optional<Window> x = document.chart()->view().x;
  for (const auto& other : documents_) {
    if (other.get() == &document || !ShowsTimes(other->kind())) continue;
    View view = other->chart()->view();
    view.x = x;
    if (view == other->chart()->view()) continue;
    other->chart()->SetView(view);
    show(*other);
  }
}

ChromatogramDocument* Workspace::Traces() const {
  if (active_ == nullptr) return nullptr;
  if (active_->kind() == Kind::kChromatogram) return static_cast<ChromatogramDocument*>(active_);
  return Find<ChromatogramDocument>(*active_, Kind::kChromatogram);
}

SpectrumDocument* Workspace::SpectrumOf(const Document& document) {
  auto* spectrum = Find<SpectrumDocument>(document, Kind::kSpectrum);
  if (spectrum != nullptr) return spectrum;
  return static_cast<SpectrumDocument*>(
      Add(MakeDocument(Kind::kSpectrum, document.run(), document.data_set())));
}

void Workspace::Do(Document& document, const Gesture& gesture) {
  if (gesture.kind == Gesture::Kind::kNone) return;
  if (gesture.kind == Gesture::Kind::kView) {
    ViewChanged(document);
  } else if (ShowsTimes(document.kind())) {
    SpectrumDocument* const spectrum = SpectrumOf(document);
    if (spectrum == nullptr) return;
    if (gesture.kind == Gesture::Kind::kClick) {
      if (!Try(spectrum, [&] { spectrum->SetTime(gesture.x.low); })) return;
    } else if (gesture.kind == Gesture::Kind::kSelect) {
      spectrum->Combine(gesture.x);
    } else {
      spectrum->SetBackground(gesture.x);
    }
    Reread(*spectrum);
  } else if (document.kind() == Kind::kSpectrum && gesture.kind != Gesture::Kind::kBackground) {
    auto* traces = Find<ChromatogramDocument>(document, Kind::kChromatogram);
    if (traces == nullptr) {
      traces = static_cast<ChromatogramDocument*>(
          Add(MakeDocument(Kind::kChromatogram, document.run(), document.data_set())));
    }
    if (traces == nullptr) return;
    const bool added = Try(&document, [&] {
      if (gesture.kind == Gesture::Kind::kSelect) return traces->AddRange(gesture.x);
      const auto& spectrum = static_cast<const SpectrumDocument&>(document);
      traces->AddMass(spectrum.MassNear(gesture.x.low, gesture.reach));
    });
    if (added) TracesChanged(*traces);
  }
}

void Workspace::TracesChanged(ChromatogramDocument& traces) {
  if (Try(&traces, [&] { traces.Grow(appearance_); })) shell_.WantIdle();
  shell_.Refresh(traces);
}

void Workspace::PointAt(const Document& document, const PlotPlace& place) {
  if (place.zone != PlotPlace::Zone::kData) {
    shell_.Status("");
    return;
  }
  const bool times = ShowsTimes(document.kind());
  std::string text = times ? tools::RoundedText(place.x, kTimeDecimals) + " min"
                           : "m/z " + tools::RoundedText(place.x, kMassDecimals);
  if (document.kind() == Kind::kMap) {
    text += ", m/z " + tools::RoundedText(place.y, kMassDecimals);
  } else {
    text += ", " + tools::RoundedText(place.y, -1);
  }
  shell_.Status(text);
}

bool Workspace::Idle() {
  for (const auto& document : documents_) {
    if (document->part() >= 1) continue;
    bool goes_on = false;
    if (!Try(document.get(), [&] { goes_on = document->Step(); })) document->Stop();
    const auto now = std::chrono::steady_clock::now();
    if (goes_on && now - shown_ < kBetweenPieces) return true;
    shown_ = now;
    document->ShowRead();
    shell_.Redraw(*document);
    const int percent = static_cast<int>(document->part() * 100);
    shell_.Status(goes_on ? "Reading " + std::to_string(percent) + " % (Esc: stop)" : "");
    return true;
  }
  return false;
}

void Workspace::Stop() {
  bool stopped = false;
  for (const auto& document : documents_) {
    if (document->chart() != nullptr) document->chart()->Cancel();
    if (document->part() < 1) {
      document->Stop();
      stopped = true;
    }
    shell_.Redraw(*document);
  }
  shell_.Status(stopped ? "Reading was broken off" : "");
}

void Workspace::Follow() {
  std::vector<std::shared_ptr<Run>> seen;
  for (const auto& document : documents_) {
    const std::shared_ptr<Run>& run = document->run();
    if (std::ranges::find(seen, run) == seen.end()) seen.push_back(run);
  }
  for (const std::shared_ptr<Run>& run : seen) {
    const Run::News news = run->Refresh();
    if (news == Run::News::kTrouble) Complain(run->trouble());
    if (news != Run::News::kMore && news != Run::News::kBetter) continue;
    for (const auto& document : documents_) {
      if (document->run() != run) continue;
      const bool more = news == Run::News::kMore;
      Try(document.get(),
          [&] { more ? document->Grow(appearance_) : document->Read(appearance_); });
      shell_.Refresh(*document);
      shell_.WantIdle();
    }
  }
}

void Workspace::AppearanceChanged() {
  for (const auto& document : documents_) Restyle(*document);
}

void Workspace::ChooseProject() {
  SystemFile project = {};
  ProGetCurrent(&project);
  if (ProFileOpen(shell_.window(), &project) == 0) return;
  if (ProSetCurrent(shell_.window(), &project) == 0) return;
  UpdateGlobal(0);
  shell_.Status(std::string("Project ") + project.name);
}

std::string Workspace::Folder() const {
  SystemFile file = {};
  GetGlobalFile("SystemList", "RAW", nullptr, &file);
  std::string folder = file.directory;
  std::ranges::replace(folder, '\\', static_cast<char>(std::filesystem::path::preferred_separator));
  return folder;
}

void Workspace::Remember(const std::string& path) {
  std::erase(recent_, path);
  recent_.insert(recent_.begin(), path);
  if (recent_.size() > kMostRecent) recent_.resize(kMostRecent);
  MakeCurrent(path);
}

void Workspace::Load() {
  loaded_ = true;
  InitGlobal(0);
  for (size_t i = 0; i < kMostRecent; ++i) {
    const std::string path = ReadSetting(RecentKey(i));
    if (!path.empty()) recent_.push_back(path);
  }
  for (const Switch& one : kSwitches) {
    const std::string text = ReadSetting(one.key);
    if (!text.empty()) appearance_.*one.member = text == "TRUE";
  }
  linked_ = ReadSetting(kLinked) != "FALSE";
}

void Workspace::Save() const {
  for (size_t i = 0; i < recent_.size(); ++i) WriteSetting(RecentKey(i), recent_[i]);
  for (const Switch& one : kSwitches) {
    WriteSetting(one.key, appearance_.*one.member ? "TRUE" : "FALSE");
  }
  WriteSetting(kLinked, linked_ ? "TRUE" : "FALSE");
  size_t written = 0;
  for (; written < documents_.size(); ++written) {
    WriteSetting(DocumentKey(written), LineOf(*documents_[written]));
  }
  if (!ReadSetting(DocumentKey(written)).empty()) WriteSetting(DocumentKey(written), "");
}

void Workspace::RestoreDocuments() {
  std::vector<std::shared_ptr<Run>> runs;
  for (size_t i = 0;; ++i) {
    const std::optional<DocumentLine> line = ParseLine(ReadSetting(DocumentKey(i)));
    if (!line) return;
    const auto found =
        std::ranges::find(runs, line->path, [](const auto& run) { return run->path(); });
    try {
      const std::shared_ptr<Run> run =
          found != runs.end() ? *found : runs.emplace_back(std::make_shared<Run>(line->path));
      std::unique_ptr<Document> document = MakeDocument(line->kind, run, line->data_set);
      document->set_restored(i);
      document->SetState(line->state);
      document->Read(appearance_);
      if (document->chart() != nullptr) document->chart()->SetView(line->view);
      Keep(std::move(document));
    } catch (const std::exception&) {
      // A run that is gone was not asked for just now.
    }
  }
}

}  // namespace tervalon::viewer
