// mzML files as raw data directories.

#include <gmock/gmock.h>
#include <tervalon/raw_analog.h>
#include <tervalon/raw_directory.h>
#include <tervalon/raw_functions.h>
#include <tervalon/raw_header.h>
#include <tervalon/raw_spectra.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <random>

#include "tests/tools/program.h"

#ifndef _WIN32

namespace tervalon::testing {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;

template <typename Number>
std::string Base64(const std::vector<double>& values) {
  constexpr const char* kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  for (const double value : values) {
    const auto number = static_cast<Number>(value);
    bytes.append(reinterpret_cast<const char*>(&number), sizeof(number));
  }
  std::string text;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    uint32_t group = 0;
    for (size_t k = 0; k < 3; ++k) {
      group = group << 8 | (i + k < bytes.size() ? static_cast<uint8_t>(bytes[i + k]) : 0U);
    }
    for (size_t k = 0; k < 4; ++k) {
      text += i + k > bytes.size() ? '=' : kDigits[group >> (18 - 6 * k) & 63];
    }
  }
  return text;
}

std::string Term(const std::string& accession, const std::string& value = "",
                 const std::string& unit = "") {
  return "<cvParam cvRef=\"MS\" accession=\"" + accession + "\" name=\"n\" value=\"" + value +
         "\" unitAccession=\"" + unit + "\"/>\n";
}

template <typename Number = double>
std::string Array(const std::string& kind, const std::vector<double>& values,
                  const std::string& unit = "") {
  const std::string type = std::is_same_v<Number, double>    ? "MS:1000523"
                           : std::is_same_v<Number, float>   ? "MS:1000521"
                           : std::is_same_v<Number, int32_t> ? "MS:1000519"
                                                             : "MS:1000522";
  const std::string text = Base64<Number>(values);
  return "<binaryDataArray encodedLength=\"" + std::to_string(text.size()) + "\">" + Term(type) +
         Term("MS:1000576") + Term(kind, "", unit) + "<binary>" + text +
         "</binary></binaryDataArray>\n";
}

struct Scan {
  double seconds = 0;
  std::vector<double> masses;
  std::vector<double> intensities;
  std::string terms = Term("MS:1000511", "1") + Term("MS:1000127") + Term("MS:1000130");
  std::string window = Term("MS:1000501", "100") + Term("MS:1000500", "900");
};

template <typename Number = double>
std::string Spectrum(const Scan& scan, int index = 0) {
  return "<spectrum index=\"" + std::to_string(index) +
         "\" id=\"scan=" + std::to_string(index + 1) + "\" defaultArrayLength=\"" +
         std::to_string(scan.masses.size()) + "\">\n" + scan.terms +
         "<scanList count=\"1\"><scan>" +
         Term("MS:1000016", std::to_string(scan.seconds), "UO:0000010") +
         "<scanWindowList count=\"1\"><scanWindow>" + scan.window +
         "</scanWindow></scanWindowList></scan></scanList>\n<binaryDataArrayList count=\"2\">" +
         Array<Number>("MS:1000514", scan.masses) + Array<Number>("MS:1000515", scan.intensities) +
         "</binaryDataArrayList></spectrum>\n";
}

std::string Chromatogram(const std::string& id, const std::vector<double>& minutes,
                         const std::vector<double>& values) {
  return "<chromatogram index=\"0\" id=\"" + id + "\" defaultArrayLength=\"" +
         std::to_string(minutes.size()) + "\"><binaryDataArrayList count=\"2\">" +
         Array("MS:1000595", minutes, "UO:0000031") + Array<float>("MS:1000515", values) +
         "</binaryDataArrayList></chromatogram>\n";
}

std::string File(const std::vector<std::string>& spectra, const std::string& chromatograms = "",
                 int chromatogram_count = 0) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<mzML version=\"1.1.0\">\n<run id=\"r\" "
      "startTimeStamp=\"2024-02-29T23:59:58Z\">\n<spectrumList count=\"" +
      std::to_string(spectra.size()) + "\">\n";
  for (const std::string& spectrum : spectra) text += spectrum;
  text += "</spectrumList>\n";
  if (chromatogram_count > 0) {
    text += "<chromatogramList count=\"" + std::to_string(chromatogram_count) + "\">\n" +
            chromatograms + "</chromatogramList>\n";
  }
  return text + "</run>\n</mzML>\n";
}

class Import : public ProgramTest {
 protected:
  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(NativePath(name), std::ios::binary) << text;
  }

  std::string Read(const std::string& name) const {
    std::ifstream file(NativePath(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  json ImportText(const std::string& text, const Arguments& more = {}) const {
    Write("in.mzML", text);
    Arguments arguments = {"import", "in.mzML", "-o", "out.raw", "--force"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Json(arguments);
  }

  json ReadScan(int function, int scan) const {
    return Json({"spectrum", "out.raw", "-f", std::to_string(function), "-s",
                 std::to_string(scan)})["points"];
  }

  // Spectra of an export by their ids.
  std::map<std::string, std::string> Spectra(const std::string& name) const {
    const std::string text = Read(name);
    std::map<std::string, std::string> spectra;
    const std::string end = "</spectrum>";
    for (size_t at = text.find("<spectrum "); at != std::string::npos;
         at = text.find("<spectrum ", at + 1)) {
      const std::string spectrum = text.substr(at, text.find(end, at) - at);
      const size_t id = spectrum.find("id=\"") + 4;
      spectra[spectrum.substr(id, spectrum.find('"', id) - id)] = spectrum;
    }
    return spectra;
  }
};

struct MadeFunction {
  int data_type;
  int function_type;

  bool IsChannels() const {
    return data_type == RAW_DATA_SIR || data_type == RAW_DATA_ENHANCED_SIR;
  }

  RawFunctionRecord Record() const {
    RawFunctionRecord record = {};
    const int word = function_type | 9 << 5 | data_type << 10;
    record.bytes[0] = static_cast<uint8_t>(word);
    record.bytes[1] = static_cast<uint8_t>(word >> 8);
    const auto store = [&](int position, float value) {
      std::memcpy(record.bytes + position, &value, sizeof(value));
    };
    if (IsChannels()) {
      record.bytes[23] = 5;
      for (int i = 0; i < 5; ++i) {
        store(160 + 4 * i, 200.25F + 10 * static_cast<float>(i));
        if (function_type == RAW_TYPE_MRM) store(288 + 4 * i, 100.5F + static_cast<float>(i));
      }
    } else {
      RawReadSetFuncMassRange(&record, -1, 100.125F, 900.7F, 1);
    }
    return record;
  }
};

// Functions that hold what their data types make of any values.
void WriteDirectory(const std::string& directory, const std::vector<MadeFunction>& functions) {
  int32_t handle = -1;
  ASSERT_EQ(RawCreateOpen(directory.c_str(), &handle), RAW_OK);
  RawHeader header = {};
  header.version_major = 1;
  std::strcpy(header.sample_description,
              "b\xF8"
              "f");
  auto calibration = std::make_unique<RawCalibration>();
  ASSERT_EQ(RawCreateHeader(handle, &header, calibration.get()), RAW_OK);
  std::vector<RawFunctionRecord> records;
  for (const MadeFunction& function : functions) records.push_back(function.Record());
  const auto count = static_cast<int16_t>(functions.size());
  ASSERT_EQ(RawCreateFunctions(handle, count, records.data()), RAW_OK);
  std::mt19937 random(3);
  for (int16_t number = 1; number <= count; ++number) {
    const MadeFunction& function = functions[static_cast<size_t>(number - 1)];
    ASSERT_EQ(RawCreateScanFile(handle, number, 0, 0), RAW_OK);
    float time = 0.0001F * number;
    for (const int points :
         function.IsChannels() ? std::vector{5, 5, 5} : std::vector{300, 1, 0, 7, 1201}) {
      std::vector<float> masses;
      std::vector<float> intensities;
      std::vector<uint8_t> flags;
      for (int i = 0; i < points; ++i) {
        masses.push_back(100 + 800 * (static_cast<float>(i) + 0.3F) / static_cast<float>(points));
        intensities.push_back(std::ldexp(static_cast<float>(random() % 100000), -3));
        flags.push_back(static_cast<uint8_t>(random() % 16));
      }
      RawScanDescription description = {};
      description.flag_a = random() % 2;
      description.flag_b = random() % 2;
      description.flag_c = random() % 2;
      description.flag_d = random() % 2;
      description.segment = random() % 16;
      description.retention_time = time;
      time += 0.1F;
      ASSERT_EQ(
          RawCreateScansEx(handle, number, 0, static_cast<int16_t>(function.data_type),
                           &description, masses.data(), intensities.data(), flags.data(), points),
          RAW_OK);
    }
  }
  ASSERT_EQ(RawCreateClose(handle), RAW_OK);
}

TEST_F(Import, EveryDataTypeAndFunctionTypeComesBackFromAnExport) {
  std::vector<MadeFunction> data_types;
  for (const int type : {0, 1, 3, 4, 6, 8, 9, 10, 12}) {
    data_types.push_back({type, RAW_TYPE_TOF_MS});
  }
  std::vector<MadeFunction> function_types;
  for (int type = RAW_TYPE_SCAN; type <= RAW_TYPE_AUTO_DAUGHTERS; ++type) {
    const bool channels = type == RAW_TYPE_SIR || type == RAW_TYPE_MRM ||
                          type == RAW_TYPE_VOLTAGE_SIR || type == RAW_TYPE_MAGNETIC_SIR;
    function_types.push_back({channels ? RAW_DATA_SIR : RAW_DATA_STANDARD_CENTROID, type});
    if (channels) function_types.push_back({RAW_DATA_ENHANCED_SIR, type});
  }
  for (const std::vector<MadeFunction>& functions : {data_types, function_types}) {
    WriteDirectory(Path("first.raw"), functions);
    Output({"export", "first.raw", "-o", "first.mzML"});
    Output({"import", "first.mzML", "-o", "again.raw", "--force"});
    Output({"export", "again.raw", "-o", "second.mzML"});
    const auto first = Spectra("first.mzML");
    EXPECT_GT(first.size(), 40U);
    EXPECT_EQ(first, Spectra("second.mzML"));
    Output({"check", "again.raw"});
    const json info = Json({"info", "again.raw"});
    ASSERT_EQ(info["functions"].size(), functions.size());
    for (size_t i = 0; i < functions.size(); ++i) {
      EXPECT_EQ(info["functions"][i]["data_type"], functions[i].data_type) << "its values fit";
      EXPECT_EQ(info["functions"][i]["type"], functions[i].function_type);
    }
    EXPECT_EQ(info["channels"], Json({"info", "first.raw"})["channels"]);
    EXPECT_EQ(info["header"]["sample_description"],
              "b\u00F8"
              "f");
  }
}

TEST_F(Import, ARunComesBackWithItsAnalogChannels) {
  Output({"simulate", "first.raw", "--scans", "20", "--duration", "2"});
  // The first function is calibrated: its masses come back as they were exported, which takes
  // another data type.
  Output({"export", "first.raw", "-o", "first.mzML"});
  const json report = Json({"import", "first.mzML", "-o", "again.raw"});
  EXPECT_EQ(report["functions"][0]["data_type"], RAW_DATA_FLOAT);
  EXPECT_EQ(report["functions"][1]["data_type"], RAW_DATA_CONTINUUM);
  EXPECT_EQ(report["functions"][2]["data_type"], RAW_DATA_SIR);
  for (const json& function : report["functions"]) {
    EXPECT_EQ(function["mass_error"], 0);
    EXPECT_EQ(function["intensity_error"], 0);
  }
  for (const char* function : {"1", "2", "3"}) {
    EXPECT_EQ(Json({"spectrum", "again.raw", "-f", function, "-s", "12"})["points"],
              Json({"spectrum", "first.raw", "-f", function, "-s", "12"})["points"]);
  }
  for (const char* trace : {"AN1", "AN2"}) {
    EXPECT_EQ(Json({"chrom", "again.raw", "--trace", trace}),
              Json({"chrom", "first.raw", "--trace", trace}));
  }
  EXPECT_EQ(Json({"info", "again.raw"})["header"], Json({"info", "first.raw"})["header"]);
}

TEST_F(Import, ScansOfAKindMakeAFunctionInTheTypeThatFits) {
  const Scan whole = {.masses = {100.5, 200.25}, .intensities = {255, 1024}};
  Scan fine = whole;
  fine.seconds = 60;
  fine.masses[1] = 200.3;  // neither in 1/128 nor in 1/1024
  Scan negative = whole;
  negative.terms = Term("MS:1000511", "2") + Term("MS:1000128") + Term("MS:1000129");
  Scan window = whole;
  window.window = Term("MS:1000501", "100") + Term("MS:1000500", "300");
  const json report =
      ImportText(File({Spectrum(whole), Spectrum<float>(negative, 1), Spectrum(window, 2),
                       Spectrum(fine, 3), Spectrum<int32_t>(whole, 4)}));
  const json& functions = report["functions"];
  ASSERT_EQ(functions.size(), 3U);
  EXPECT_EQ(functions[0]["kind"], "MS1, positive, centroids, m/z 100 to 900");
  EXPECT_EQ(functions[0]["scans"], 3);
  EXPECT_EQ(functions[0]["data_type"], RAW_DATA_FLOAT) << "for the sake of one mass";
  EXPECT_NEAR(functions[0]["mass_error"].get<double>(), std::abs(1 - 200.3F / 200.3), 1e-12);
  EXPECT_EQ(functions[1]["kind"], "MS2, negative, profile, m/z 100 to 900");
  EXPECT_EQ(functions[1]["type_name"], "Daughters");
  EXPECT_EQ(functions[1]["ion_mode_name"], "ES-");
  EXPECT_EQ(functions[1]["data_type"], RAW_DATA_CONTINUUM) << "two points are evenly spaced";
  EXPECT_EQ(functions[2]["data_type"], RAW_DATA_COMPRESSED_CENTROID);
  EXPECT_EQ(ReadScan(1, 1)["mass"], json({100.5, 200.25})) << "written anew in another type";
  EXPECT_EQ(ReadScan(1, 2)["intensity"], json({255, 1024}));
  EXPECT_EQ(ReadScan(1, 3)["mass"], json({100, 200})) << "whole numbers";
  EXPECT_EQ(ReadScan(2, 1)["mass"], json({100.5, 200.25}));
  EXPECT_EQ(Json({"info", "out.raw"})["header"]["acquired_date"], "29-Feb-2024");

  const json forced = ImportText(File({Spectrum(fine)}), {"--type", "0"});
  EXPECT_NEAR(forced["functions"][0]["mass_error"].get<double>(), 200.3 / 200.296875 - 1, 2e-8);
  EXPECT_EQ(ReadScan(1, 1)["mass"], json({100.5, 200.29688}));
  EXPECT_EQ(ImportText(File({Spectrum(whole), Spectrum(window, 1)}), {"--any-window"})["functions"]
                .size(),
            1U);
}

TEST_F(Import, ChromatogramsWithCommonTimesBecomeChannels) {
  std::string chromatograms = Chromatogram("pump", {0, 0.5, 1}, {1, 2, 3});
  chromatograms += Chromatogram("UV", {0, 0.5, 1}, {10, 20, 4095.5});
  chromatograms += Chromatogram("late", {1, 2}, {1, 2});
  chromatograms += Chromatogram("below", {0, 0.5, 1}, {1, -2, 3});
  const json report =
      ImportText(File({Spectrum({.masses = {150}, .intensities = {1}})}, chromatograms, 4));
  ASSERT_EQ(report["analog_channels"].size(), 2U);
  EXPECT_NEAR(report["analog_channels"][1]["error"].get<double>(), 0.5 / 4095.5, 1e-6);
  const json chrom = Json({"chrom", "out.raw", "--trace", "AN2"})["an2"];
  EXPECT_EQ(chrom["time"], json({0, 0.5, 1}));
  const std::string notes = report["notes"].dump();
  EXPECT_THAT(notes, HasSubstr("chromatograms with times of their own"));
  EXPECT_THAT(notes, HasSubstr("chromatograms with values below 0"));
}

TEST_F(Import, BrokenFilesAreRefusedWithTheirLineAndLeaveNothing) {
  const std::string good =
      File({Spectrum({.masses = {100.5}, .intensities = {7}})}, Chromatogram("c", {0}, {1}), 1);
  const struct {
    const char* pattern;
    const char* with;
    const char* message;
  } kCases[] = {
      {"</mzML>\n", "", "line 35: the file is cut off"},
      {"</scanList>", "", "not well-formed XML: mismatched tag"},
      {"<mzML ", "<mzXML ", "line 2: not an mzML file: its outermost element is 'mzXML'"},
      {"<run id", "<!-- -- <run id", "not well-formed XML"},
      {"encodedLength=\"12\"", "encodedLength=\"16\"", "has 12 characters instead of 16"},
      {"encodedLength=\"12\"", "", "has no encoded length"},
      {"defaultArrayLength=\"1\"", "defaultArrayLength=\"2\"",
       "spectrum 'scan=1': an array has 1 numbers instead of 2"},
      {"defaultArrayLength=\"1\"", "defaultArrayLength=\"9999999\"", "that a scan can hold"},
      {"defaultArrayLength=\"1\"", "", "has no array length"},
      {"MS:1000514", "MS:1999999", "it has no m/z array"},
      {"MS:1000523", "MS:1000520", "numbers of an unknown type"},
      {"MS:1000576", "MS:1000577", "compressed in an unknown way"},
      {"MS:1000576", "MS:1000574", "a compressed array is damaged"},
      {"MS:1000576", "MS:1002312", "an array has 0 numbers instead of 1"},
      {"<binary>AA", "<binary>A*", "a character that base64 does not have"},
      {"<binary>AA", "<binary>A", "the base64 of spectrum 'scan=1' is cut off"},
      {"<run id", "<referenceableParamGroup id=\"g\"/><run id", nullptr},
      {"<scan>", "<scan><referenceableParamGroupRef ref=\"g\"/>", "no parameter group 'g'"},
      {"<mzML ", "<!DOCTYPE x [<!ENTITY e \"e\">]><mzML ", "a document type declaration"},
      {"utf-8", "klingon", "unknown encoding"},
  };
  for (const auto& [pattern, with, message] : kCases) {
    SCOPED_TRACE(std::string(pattern) + " -> " + with);
    std::string bad = good;
    const size_t at = bad.find(pattern);
    ASSERT_NE(at, std::string::npos);
    bad.replace(at, std::strlen(pattern), with);
    Write("in.mzML", bad);
    if (message == nullptr) {
      Output({"import", "in.mzML", "-o", "out.raw", "--force"});
      std::filesystem::remove_all(NativePath("out.raw"));
    } else {
      ExpectFailure({"import", "in.mzML", "-o", "out.raw"}, 1, message);
    }
    EXPECT_THAT(Names(), ::testing::ElementsAre("in.mzML"));
  }
  Write("in.mzML", "");
  ExpectFailure({"import", "in.mzML", "-o", "out.raw"}, 1, "the file is empty");
  ExpectFailure({"import", "none.mzML", "-o", "out.raw"}, 1, "No such file");
  Write("in.mzML", good);
  RunShell("gzip in.mzML && truncate -s -9 in.mzML.gz && mv in.mzML.gz in.mzML", Path(""));
  ExpectFailure({"import", "in.mzML", "-o", "out.raw"}, 1,
                "line 36: the compressed file is cut off");
  std::vector<std::string> kinds;
  for (int i = 0; i < 33; ++i) {
    Scan scan = {.masses = {150}, .intensities = {1}};
    scan.window = Term("MS:1000501", "100") + Term("MS:1000500", std::to_string(200 + i));
    kinds.push_back(Spectrum(scan, i));
  }
  Write("in.mzML", File(kinds));
  ExpectFailure({"import", "in.mzML", "-o", "out.raw"}, 1, "the 33rd kind of scan");
  EXPECT_THAT(Names(), ::testing::ElementsAre("in.mzML"));
}

// Whatever becomes of a file's bytes, the program ends by itself, and a directory is whole or not
// there.
TEST_F(Import, DamagedFilesEndInAnErrorOrAWholeDirectory) {
  WriteDirectory(Path("first.raw"), {{RAW_DATA_ENHANCED_MASS, RAW_TYPE_SCAN}});
  Output({"export", "first.raw", "-o", "good.mzML"});
  const std::string good = Read("good.mzML");
  std::mt19937 random(15);
  int refused = 0;
  for (int round = 0; round < 40; ++round) {
    std::string bad = good;
    for (size_t changes = 1 + random() % 3; changes > 0; --changes) {
      const size_t at = random() % bad.size();
      switch (random() % 4) {
        case 0:
          bad[at] = static_cast<char>(random());
          break;
        case 1:
          bad.erase(at, 1 + random() % 200);
          break;
        case 2:
          bad.insert(at, bad.substr(random() % bad.size(), random() % 300));
          break;
        default:
          bad[at] = static_cast<char>('0' + random() % 10);
      }
    }
    Write("bad.mzML", bad);
    const ProcessResult result = Run({"import", "bad.mzML", "-o", "out.raw", "--force"});
    const bool there = std::filesystem::exists(NativePath("out.raw"));
    ASSERT_TRUE(result.status == 0 || result.status == 1) << "round " << round << result.err;
    ASSERT_EQ(there, result.status == 0) << result.err;
    if (there) {
      ASSERT_EQ(Run({"check", "out.raw"}).status, 0);
      std::filesystem::remove_all(NativePath("out.raw"));
    } else {
      ++refused;
    }
    ASSERT_THAT(Names(), ::testing::ElementsAre("bad.mzML", "first.raw", "good.mzML"));
  }
  EXPECT_GT(refused, 12);
}

}  // namespace
}  // namespace tervalon::testing

#endif  // not on Windows, which has no import
