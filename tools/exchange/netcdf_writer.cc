#include "tools/exchange/netcdf_writer.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "tools/data/trace_reader.h"
#include "tools/exchange/byte_sink.h"
#include "tools/exchange/run_description.h"
#include "tools/linux/netcdf.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

class NetcdfFile {
 public:
  NetcdfFile(std::string name, const std::string& path) : name_(std::move(name)) {
    Check(nc_.create(path.c_str(), NC_CLOBBER | NC_64BIT_OFFSET, &file_));
  }
  ~NetcdfFile() {
    if (open_) nc_.abort(file_);
  }
  NetcdfFile(const NetcdfFile&) = delete;
  NetcdfFile& operator=(const NetcdfFile&) = delete;

  void Attribute(int variable, const char* name, const std::string& text) const {
    Check(nc_.put_att_text(file_, variable, name, text.size(), text.c_str()));
  }
  int Variable(const char* name, std::optional<int> dimension) const {
    int id = 0;
    Check(nc_.def_var(file_, name, NC_FLOAT, dimension ? 1 : 0, dimension ? &*dimension : nullptr,
                      &id));
    return id;
  }
  int Dimension(const char* name, size_t length) const {
    int id = 0;
    Check(nc_.def_dim(file_, name, length, &id));
    return id;
  }
  void EndDefinitions() const { Check(nc_.enddef(file_)); }
  void Put(int variable, const std::vector<float>& values) const {
    if (!values.empty()) Check(nc_.put_var_float(file_, variable, values.data()));
  }
  void Close() {
    open_ = false;
    Check(nc_.close(file_));
  }

 private:
  void Check(int code) const {
    if (code != NC_NOERR) {
      throw Failure(name_, std::string("cannot be written: ") + nc_.strerror(code));
    }
  }

  const Netcdf& nc_ = LoadNetcdf();
  const std::string name_;
  int file_ = 0;
  bool open_ = true;
};

std::string TextOf(const std::vector<HeaderText>& texts, std::string_view key) {
  const auto found = std::ranges::find(texts, key, &HeaderText::key);
  return found != texts.end() ? found->text : "";
}

// "20250602093000+0000"; the header does not say where the clock stood.
std::string Stamp(const RawHeader& header) {
  const std::optional<std::string> stamp = AcquisitionTime(header);
  if (!stamp) return "";
  std::string digits;
  std::ranges::copy_if(*stamp, std::back_inserter(digits),
                       [](char c) { return c >= '0' && c <= '9'; });
  return digits + "+0000";
}

void WriteAttributes(const NetcdfFile& file, const RawHeader& header, const Trace& trace) {
  const std::vector<HeaderText> texts = HeaderTexts(header);
  const std::pair<const char*, std::string> attributes[] = {
      {"dataset_completeness", "C1"},
      {"aia_template_revision", "1.0"},
      {"netcdf_revision", LoadNetcdf().inq_libvers()},
      {"languages", "English"},
      {"dataset_origin", TextOf(texts, "laboratory_name")},
      {"dataset_owner", TextOf(texts, "submitter")},
      {"dataset_date_time_stamp", Stamp(header)},
      {"injection_date_time_stamp", Stamp(header)},
      {"experiment_title", TextOf(texts, "conditions")},
      {"operator_name", TextOf(texts, "user_name")},
      {"source_file_reference", TextOf(texts, "acquired_name")},
      {"sample_id", TextOf(texts, "sample_id")},
      {"sample_name", TextOf(texts, "sample_description")},
      {"detection_method_name", TextOf(texts, "instrument")},
      {"detector_name", trace.title},
      {"detector_unit", "counts"},
      {"retention_unit", "seconds"}};
  for (const auto& [name, text] : attributes) {
    if (!text.empty()) file.Attribute(NC_GLOBAL, name, text);
  }
}

Trace SelectedTrace(const ExportRun& run, const ExportOptions& options) {
  if (run.functions().empty()) {
    throw Failure(run.directory().path(), "there is no function to export");
  }
  const std::vector<TraceRequest> requests =
      ParseTraces(options.trace.empty() ? "TIC" : options.trace, {});
  Trace all = ReadTrace(run.functions()[0]->reader(), requests.at(0));
  if (!run.selection().times) return all;
  Trace trace = {all.key, all.title, all.is_analog};
  for (size_t i = 0; i < all.times.size(); ++i) {
    if (all.times[i] >= run.selection().times->low && all.times[i] <= run.selection().times->high) {
      trace.times.push_back(all.times[i]);
      trace.values.push_back(all.values[i]);
    }
  }
  return trace;
}

}  // namespace

void WriteNetcdf(const ExportRun& run, const ExportOptions& options, const std::string& name) {
  const Trace trace = SelectedTrace(run, options);
  if (trace.times.empty()) throw Failure(run.directory().path(), "the trace has no points");
  std::vector<float> seconds = trace.times;
  for (float& time : seconds) time = static_cast<float>(time * 60.0);
  const float length = seconds.back() - seconds.front();
  const float interval = seconds.size() > 1 ? length / static_cast<float>(seconds.size() - 1) : 0;
  const auto [low, high] = std::ranges::minmax(trace.values);
  StagedName staged(name);
  NetcdfFile file(name, staged.staging());
  WriteAttributes(file, run.directory().header(), trace);
  const int points = file.Dimension("point_number", seconds.size());
  const std::pair<const char*, float> scalars[] = {{"detector_maximum_value", high},
                                                   {"detector_minimum_value", low},
                                                   {"actual_run_time_length", length},
                                                   {"actual_sampling_interval", interval},
                                                   {"actual_delay_time", seconds.front()}};
  std::vector<int> variables;
  for (const auto& [scalar, value] : scalars) variables.push_back(file.Variable(scalar, {}));
  const int ordinates = file.Variable("ordinate_values", points);
  file.Attribute(ordinates, "uniform_sampling_flag", "N");
  const int times = file.Variable("raw_data_retention", points);
  file.EndDefinitions();
  for (size_t i = 0; i < variables.size(); ++i) file.Put(variables[i], {scalars[i].second});
  file.Put(ordinates, trace.values);
  file.Put(times, seconds);
  file.Close();
  staged.Commit();
}

}  // namespace tervalon::tools
