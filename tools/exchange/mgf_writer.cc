#include "tools/exchange/mgf_writer.h"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "tools/exchange/byte_sink.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

struct Peak {
  float mass;
  float intensity;
};

bool IsReaction(const std::vector<Channel>& channels) {
  return !channels.empty() && channels[0].daughter.has_value();
}

// The functions that are written, with the channels of those that have reactions.
std::map<const ExportedFunction*, std::vector<Channel>> FunctionsWithPrecursors(
    const ExportRun& run) {
  std::map<const ExportedFunction*, std::vector<Channel>> found;
  for (const bool any_level : {false, true}) {
    for (const auto& function : run.functions()) {
      std::vector<Channel> channels = Channels(function->record());
      const int level = KindOf(function->record()).ms_level;
      const bool told = run.selection().precursor && !IsProfile(function->record()) &&
                        (any_level ? level == 1 : level > 1);
      if (IsReaction(channels) || told) found[function.get()] = std::move(channels);
    }
    if (!found.empty()) break;
  }
  return found;
}

class MgfWriter {
 public:
  MgfWriter(const ExportRun& run, ByteSink& sink)
      : run_(run), sink_(sink), functions_(FunctionsWithPrecursors(run)) {
    if (functions_.empty()) {
      throw Failure(run.directory().path(),
                    "no centroid function has a precursor (--precursor tells it)");
    }
  }

  void Write() {
    run_.ForEachScan(
        [this](const ExportedFunction& function, int32_t scan, const Spectrum& spectrum) {
          const auto found = functions_.find(&function);
          if (found == functions_.end()) return;
          if (IsReaction(found->second)) {
            WriteReactions(function, found->second, scan, spectrum);
          } else {
            WriteAll(function, scan, spectrum);
          }
          if (text_.size() >= kWritePiece) Flush();
        });
    Flush();
  }

 private:
  void WriteAll(const ExportedFunction& function, int32_t scan, const Spectrum& spectrum) {
    std::vector<Peak> peaks;
    for (size_t i = 0; i < spectrum.masses.size(); ++i) {
      peaks.push_back({spectrum.masses[i], spectrum.intensities[i]});
    }
    WriteIons(function, scan, spectrum.header, ExactText(*run_.selection().precursor), peaks);
  }

  void WriteReactions(const ExportedFunction& function, const std::vector<Channel>& channels,
                      int32_t scan, const Spectrum& spectrum) {
    std::map<float, std::vector<Peak>> lists;
    for (size_t i = 0; i < std::min(channels.size(), spectrum.intensities.size()); ++i) {
      lists[channels[i].mass].push_back({*channels[i].daughter, spectrum.intensities[i]});
    }
    for (auto& [precursor, peaks] : lists) {
      std::ranges::sort(peaks, {}, &Peak::mass);
      WriteIons(function, scan, spectrum.header, ExactText(precursor), peaks);
    }
  }

  void WriteIons(const ExportedFunction& function, int32_t scan, const RawScanHeader& header,
                 const std::string& precursor, std::vector<Peak> peaks) {
    std::erase_if(peaks, [](const Peak& peak) { return !(peak.intensity > 0); });
    if (peaks.empty()) return;
    text_ += "BEGIN IONS\nTITLE=" + function.Id() + " scan=" + std::to_string(scan);
    text_ += "\nRTINSECONDS=" + ExactText(header.retention_time * 60.0);
    text_ += "\nPEPMASS=" + precursor + "\n";
    for (const Peak& peak : peaks) {
      text_ += ExactText(peak.mass);
      text_ += ' ';
      text_ += ExactText(peak.intensity);
      text_ += '\n';
    }
    text_ += "END IONS\n\n";
  }

  void Flush() {
    sink_.Write(text_);
    text_.clear();
  }

  const ExportRun& run_;
  ByteSink& sink_;
  const std::map<const ExportedFunction*, std::vector<Channel>> functions_;
  std::string text_;
};

}  // namespace

void WriteMgf(const ExportRun& run, const ExportOptions& /*options*/, const std::string& name) {
  StagedFile file(name);
  MgfWriter(run, file).Write();
  file.Commit();
}

}  // namespace tervalon::tools
