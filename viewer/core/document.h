// What a window shows of a run: a plot that somebody works with, or a table.

#ifndef VIEWER_CORE_DOCUMENT_H_
#define VIEWER_CORE_DOCUMENT_H_

#include <tervalon/processing_spectra.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/print/document.h"
#include "viewer/core/chart.h"
#include "viewer/core/run.h"
#include "viewer/core/trace_job.h"

namespace tervalon::viewer {

enum class Kind { kChromatogram, kSpectrum, kMap, kHeader, kHistory, kScans };
constexpr size_t kKinds = 6;

// As menus and settings name it: "Chromatogram".
const char* NameOf(Kind kind);

// "1.5_2" as settings have it, "" for nothing; and back.
std::string SpanText(const std::optional<Window>& span);
std::optional<Window> ParseSpanText(const std::string& text);

// How the plots of all documents look.
struct Appearance {
  bool percent = true;
  bool labels = true;
  bool grid = false;
  bool filled = false;
};

class Document {
 public:
  Document(Kind kind, std::shared_ptr<Run> run, const DataSet& data_set)
      : kind_(kind), run_(std::move(run)), data_set_(data_set) {}
  virtual ~Document() = default;
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

  Kind kind() const { return kind_; }
  const std::shared_ptr<Run>& run() const { return run_; }
  const DataSet& data_set() const { return data_set_; }
  std::string Title() const;
  // Which it was when they were saved, whose place it gets; nothing: it is new.
  const std::optional<size_t>& restored() const { return restored_; }
  void set_restored(size_t number) { restored_ = number; }

  // Reads what is to be shown, anew where it was read before. Throws a Failure.
  virtual void Read(const Appearance& appearance) = 0;
  // The run has more scans than before. Throws a Failure.
  virtual void Grow(const Appearance& appearance) { Read(appearance); }
  // The same data look otherwise.
  virtual void Restyle(const Appearance& /*appearance*/) {}
  // Another part of them is seen. Throws a Failure.
  virtual void ViewMoved() {}
  // What takes long is read afterwards in steps. False when nothing is left to do.
  virtual bool Step() { return false; }
  // Of what takes long; 1 when nothing does, or it was broken off.
  virtual double part() const { return 1; }
  virtual void Stop() {}
  // Takes what is read so far into the chart.
  virtual void ShowRead() {}

  // What somebody works with; nullptr: a table.
  virtual Chart* chart() { return nullptr; }
  // What is shown, as a table.
  virtual tools::Section Table() const = 0;

  // Ranges that are drawn higher: "400-700x10, 800-900x5". Throws WrongUsage, everything staying as
  // it was.
  void SetMagnified(const std::string& text);
  const std::string& magnified() const { return magnified_text_; }

  // What of the run is shown, but for the kind, in a text without commas; and back, before it is
  // read. Throws WrongUsage.
  std::string State() const;
  void SetState(const std::string& text);

 protected:
  // "function 1", "scan 12": behind the run's name.
  virtual std::string Subject() const;
  std::shared_ptr<const DataReader> Reader() const { return run_->Reader(data_set_); }
  PictureStyle Style(const Appearance& appearance) const;

  // The parts of a state that are the kind's own.
  using Parts = std::vector<std::string>;
  virtual Parts OwnState() const { return {}; }
  virtual void SetOwnState(const Parts& /*parts*/) {}

 private:
  const Kind kind_;
  const std::shared_ptr<Run> run_;
  const DataSet data_set_;
  std::optional<size_t> restored_;
  std::string magnified_text_;
  std::vector<AxsMagnify> magnified_;
};

class ChromatogramDocument : public Document {
 public:
  ChromatogramDocument(std::shared_ptr<Run> run, const DataSet& data_set);

  // Texts such as "TIC,184.1,200_210". Throws WrongUsage, the traces staying as they are.
  void SetTraces(const std::string& text);
  void AddMass(float mass);
  void AddRange(const Window& masses);
  void RemoveLastTrace();
  const std::string& traces() const { return text_; }

  tools::Layout layout() const { return layout_; }
  void set_layout(tools::Layout layout) { layout_ = layout; }

  // Ranges of time that are marked.
  void Mark(std::vector<Window> times);

  void Read(const Appearance& appearance) override;
  void Grow(const Appearance& appearance) override;
  void Restyle(const Appearance& appearance) override;
  bool Step() override { return job_ != nullptr && job_->Step(); }
  double part() const override { return job_ != nullptr ? job_->part() : 1; }
  void Stop() override;
  void ShowRead() override;
  Chart* chart() override { return &chart_; }
  tools::Section Table() const override;

 private:
  Parts OwnState() const override;
  void SetOwnState(const Parts& parts) override;

  std::string text_ = "TIC";
  tools::Layout layout_ = tools::Layout::kStacked;
  Appearance appearance_;
  std::vector<Window> marks_;
  std::unique_ptr<TraceJob> job_;  // with what it has read
  Chart chart_;
};

class SpectrumDocument : public Document {
 public:
  SpectrumDocument(std::shared_ptr<Run> run, const DataSet& data_set)
      : Document(Kind::kSpectrum, std::move(run), data_set) {}

  // From 1; the nearest that there is.
  void SetScan(int32_t scan);
  void SetTime(float minutes);
  void MoveBy(int32_t scans) { SetScan(scan_ + scans); }
  // The mean of the scans at these times, minutes.
  void Combine(const Window& times);
  // What is subtracted from it; nothing: nothing is.
  void SetBackground(const std::optional<Window>& times) { background_ = times; }

  int32_t scan() const { return scan_; }
  bool is_combined() const { return combined_.has_value(); }
  const std::optional<Window>& combined() const { return combined_; }
  const std::optional<Window>& background() const { return background_; }

  // The mass of the highest point that is no further away; without any, the mass itself.
  float MassNear(float mass, float reach) const;

  void Read(const Appearance& appearance) override;
  // What is shown stays what it was.
  void Grow(const Appearance& /*appearance*/) override {}
  void Restyle(const Appearance& appearance) override;
  Chart* chart() override { return &chart_; }
  tools::Section Table() const override;

 protected:
  std::string Subject() const override;

 private:
  Parts OwnState() const override;
  void SetOwnState(const Parts& parts) override;
  PlotSeries ReadCombined() const;

  int32_t scan_ = 1;
  std::optional<Window> combined_;
  std::optional<Window> background_;
  PlotSeries series_;
  Chart chart_;
};

class MapDocument : public Document {
 public:
  MapDocument(std::shared_ptr<Run> run, const DataSet& data_set)
      : Document(Kind::kMap, std::move(run), data_set) {}

  void Read(const Appearance& appearance) override;
  // Reads it again once it has noticeably more.
  void Grow(const Appearance& appearance) override;
  void Restyle(const Appearance& appearance) override;
  // The part that is seen is read in finer cells.
  void ViewMoved() override;
  bool Step() override;
  double part() const override { return reading_ != nullptr ? reading_->part() : 1; }
  void Stop() override { reading_.reset(); }
  void ShowRead() override;
  Chart* chart() override { return &chart_; }
  tools::Section Table() const override { return CellSection(whole_); }

 private:
  static tools::Section CellSection(const tools::MassMap& map);
  void Begin(const View& view);

  Appearance appearance_;
  tools::MassMap whole_;
  int32_t scans_ = 0;  // of the run when it was read
  std::shared_ptr<const DataReader> reader_;
  std::unique_ptr<tools::MassMapReader> reading_;
  bool of_part_ = false;     // what is being read
  bool shows_part_ = false;  // the chart
  size_t scans_of_step_ = 1;
  Chart chart_;
};

class TableDocument : public Document {
 public:
  TableDocument(Kind kind, std::shared_ptr<Run> run, const DataSet& data_set)
      : Document(kind, std::move(run), data_set) {}

  void Read(const Appearance& appearance) override;
  tools::Section Table() const override { return table_; }
  const tools::Section& table() const { return table_; }

 private:
  tools::Section table_;
};

std::unique_ptr<Document> MakeDocument(Kind kind, std::shared_ptr<Run> run,
                                       const DataSet& data_set);

}  // namespace tervalon::viewer

#endif  // VIEWER_CORE_DOCUMENT_H_
