// mzML 1.0 and 1.1, with or without an index, read as a stream: spectra and chromatograms one at a
// time, and what else the file says, as the parameters that it is said in.

#ifndef TOOLS_IMPORT_MZML_READER_H_
#define TOOLS_IMPORT_MZML_READER_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/exchange/cv_terms.h"

namespace tervalon::tools {

// A cvParam or userParam.
struct MzmlParam {
  std::string accession;  // empty: a userParam
  std::string name;
  std::string value;
  std::string unit;  // accession
  std::string unit_name;
  // The element that it stands in: "scan", "isolationWindow", ...; for parameters of a group the
  // one that refers to it.
  std::string element;

  bool Is(const CvTerm& term) const { return accession == term.accession; }
};

using MzmlParams = std::vector<MzmlParam>;

// The first of that meaning, or nullptr.
const MzmlParam* Find(const MzmlParams& params, const CvTerm& term);

struct MzmlArray {
  MzmlParams params;
  size_t length = 0;           // numbers
  std::vector<uint8_t> bytes;  // as stored, but for base64; none of arrays that are not wanted
  bool Is(const CvTerm& kind) const { return Find(params, kind) != nullptr; }
};

// A spectrum or chromatogram.
struct MzmlEntry {
  std::string id;
  size_t length = 0;  // of its arrays
  MzmlParams params;  // of all elements in it but for arrays and windows
  std::vector<MzmlParams> windows;
  std::vector<MzmlArray> arrays;
  int precursors = 0;
  std::string instrument;  // the configuration's id; empty: the run's

  const MzmlArray* Find(const CvTerm& kind) const;
};

// What stands before the run, an element each: "sample", "instrumentConfiguration", ...
struct MzmlElement {
  std::string element;
  std::string id;
  std::string name;
  MzmlParams params;
};

struct MzmlDescription {
  std::vector<MzmlElement> elements;
  std::string run_id;
  std::string start_time;  // xsd:dateTime, or empty
  std::string instrument;  // default configuration's id
  std::string sample;
};

class MzmlHandler {
 public:
  virtual ~MzmlHandler() = default;
  // Whether an array of these parameters is to be decoded.
  virtual bool Wants(const MzmlParams& array) = 0;
  // Before the first of the others.
  virtual void Describe(const MzmlDescription& description) = 0;
  // The entry is the callee's to change.
  virtual void Spectrum(MzmlEntry& spectrum) = 0;
  virtual void Chromatogram(MzmlEntry& chromatogram) = 0;
  // Something that is not as it should be and keeps nothing from being read.
  virtual void Doubt(const std::string& what) = 0;
};

// Reads the file. Throws a Failure, which names the line, for what is no mzML, cut off or
// contradicts itself; a Defect that the handler throws becomes one, too.
void ReadMzml(const std::string& path, MzmlHandler& handler,
              const std::function<void(int)>& progress);

// What is wrong with the spectrum, chromatogram or array at hand.
struct Defect {
  std::string reason;
};

// The numbers of an array, whatever its type and compression. Throws a Defect where they cannot be
// read or are not as many as they should be.
void DecodeArray(const MzmlArray& array, std::vector<double>& values);

}  // namespace tervalon::tools

#endif  // TOOLS_IMPORT_MZML_READER_H_
