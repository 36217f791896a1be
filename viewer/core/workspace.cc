#include "viewer/core/workspace.h"

#include <tervalon/settings.h>

#include <algorithm>

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

bool IsSame(const DataSet& a, const DataSet& b) {
  return a.function == b.function && a.process == b.process;
}

std::string ReadSetting(const std::string& key) {
  char text[513] = "";
  GetIniString(kSection, key.c_str(), "", text, sizeof text);
  return text;
}

void WriteSetting(const std::string& key, std::string value) {
  SetIniString(kSection, key.c_str(), value.data(), 0);
}

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

// "2,1,0,TIC;184.1,/data/A.RAW": kind, function, process, traces, path.
std::string LineOf(const Document& document) {
  std::string traces;
  if (document.kind() == Kind::kChromatogram) {
    traces = static_cast<const ChromatogramDocument&>(document).traces();
    std::ranges::replace(traces, ',', ';');
  }
  return std::to_string(static_cast<int>(document.kind())) + ',' +
         std::to_string(document.data_set().function.value_or(1)) + ',' +
         std::to_string(document.data_set().process) + ',' + traces + ',' + document.run()->path();
}

struct DocumentLine {
  Kind kind = Kind::kChromatogram;
  DataSet data_set;
  std::string traces;
  std::string path;
};

std::optional<DocumentLine> ParseLine(std::string_view line) {
  std::vector<std::string> parts;
  for (int i = 0; i < 4; ++i) {
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
  document.data_set.function = static_cast<int>(std::clamp(*function, 1.0, 32.0));
  document.data_set.process = static_cast<int>(std::clamp(*process, 0.0, 255.0));
  std::ranges::replace(parts[3], ';', ',');
  document.traces = parts[3];
  document.path = line;
  return document;
}

}  // namespace

template <typename Action>
bool Workspace::Try(Action action) {
  try {
    action();
    return true;
  } catch (const tools::Failure& failure) {
    shell_.Complain(failure.what());
  } catch (const tools::WrongUsage& wrong) {
    shell_.Complain(wrong.what());
  } catch (const std::bad_alloc&) {
    shell_.Complain("Out of memory");
  }
  return false;
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
  Document* const added = document.get();
  if (!Try([&] { added->Read(appearance_); })) return nullptr;
  Keep(std::move(document));
  return added;
}

void Workspace::Keep(std::unique_ptr<Document> document) {
  Document& kept = *documents_.emplace_back(std::move(document));
  shell_.Add(kept);
  Activate(&kept);
  shell_.WantIdle();
}

bool Workspace::Open(const std::string& path) {
  std::shared_ptr<Run> run;
  if (!Try([&] { run = std::make_shared<Run>(path); })) return false;
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
  return Add(MakeDocument(kind, active_->run(), active_->data_set()));
}

void Workspace::Close(Document& document) {
  const auto place =
      std::ranges::find_if(documents_, [&](const auto& own) { return own.get() == &document; });
  if (place == documents_.end()) return;
  const std::unique_ptr<Document> closed = std::move(*place);
  documents_.erase(place);
  if (active_ == closed.get()) active_ = nullptr;
  shell_.Remove(*closed);
  shell_.RefreshCommands();
}

void Workspace::Activate(Document* document) {
  if (active_ == document) return;
  active_ = document;
  shell_.RefreshCommands();
}

void Workspace::Reread(Document& document) {
  if (Try([&] { document.Read(appearance_); })) shell_.WantIdle();
  shell_.Refresh(document);
}

void Workspace::ViewChanged(Document& document) {
  shell_.Redraw(document);
  shell_.RefreshCommands();
  if (!linked_ || !ShowsTimes(document.kind())) return;
  const std::optional<Window> x = document.chart()->view().x;
  for (const auto& other : documents_) {
    if (other.get() == &document || !ShowsTimes(other->kind())) continue;
    View view = other->chart()->view();
    view.x = x;
    if (view == other->chart()->view()) continue;
    other->chart()->SetView(view);
    shell_.Redraw(*other);
  }
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
      if (!Try([&] { spectrum->SetTime(gesture.x.low); })) return;
    } else if (gesture.kind == Gesture::Kind::kSelect) {
      spectrum->Combine(gesture.x);
    } else {
      spectrum->SetBackground(gesture.x);
    }
    Reread(*spectrum);
  } else if (document.kind() == Kind::kSpectrum && gesture.kind == Gesture::Kind::kClick) {
    auto* const traces = Find<ChromatogramDocument>(document, Kind::kChromatogram);
    if (traces == nullptr) return;
    if (Try([&] { traces->AddMass(gesture.x.low); })) Reread(*traces);
  }
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
    bool goes_on = false;
    const double before = document->part();
    if (before >= 1) continue;
    if (!Try([&] { goes_on = document->Step(); })) document->Stop();
    shell_.Status(goes_on ? "Reading " + std::to_string(static_cast<int>(document->part() * 100)) +
                                " % (Esc: stop)"
                          : "");
    if (!goes_on) shell_.Refresh(*document);
    return true;
  }
  return false;
}

void Workspace::Stop() {
  for (const auto& document : documents_) {
    if (document->part() < 1) document->Stop();
    if (document->chart() != nullptr) document->chart()->Cancel();
    shell_.Redraw(*document);
  }
  shell_.Status("");
}

void Workspace::Follow() {
  std::vector<std::shared_ptr<Run>> seen;
  for (const auto& document : documents_) {
    const std::shared_ptr<Run>& run = document->run();
    if (std::ranges::find(seen, run) == seen.end()) seen.push_back(run);
  }
  for (const std::shared_ptr<Run>& run : seen) {
    const Run::News news = run->Refresh();
    if (news == Run::News::kTrouble) shell_.Complain(run->trouble());
    if (news != Run::News::kMore && news != Run::News::kBetter) continue;
    for (const auto& document : documents_) {
      if (document->run() == run) Reread(*document);
    }
  }
}

void Workspace::AppearanceChanged() {
  for (const auto& document : documents_) Reread(*document);
}

void Workspace::Remember(const std::string& path) {
  std::erase(recent_, path);
  recent_.insert(recent_.begin(), path);
  if (recent_.size() > kMostRecent) recent_.resize(kMostRecent);
}

void Workspace::Load() {
  for (size_t i = 0; i < kMostRecent; ++i) {
    const std::string path = ReadSetting(RecentKey(i));
    if (!path.empty()) recent_.push_back(path);
  }
  for (const Switch& one : kSwitches) {
    const std::string text = ReadSetting(one.key);
    if (!text.empty()) appearance_.*one.member = text == "TRUE";
  }
}

void Workspace::Save() const {
  for (size_t i = 0; i < recent_.size(); ++i) WriteSetting(RecentKey(i), recent_[i]);
  for (const Switch& one : kSwitches) {
    WriteSetting(one.key, appearance_.*one.member ? "TRUE" : "FALSE");
  }
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
      if (line->kind == Kind::kChromatogram && !line->traces.empty()) {
        static_cast<ChromatogramDocument&>(*document).SetTraces(line->traces);
      }
      document->Read(appearance_);
      Keep(std::move(document));
    } catch (const std::runtime_error&) {
      // A run that is gone was not asked for just now.
    }
  }
}

}  // namespace tervalon::viewer
