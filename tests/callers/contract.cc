#include "tests/callers/contract.h"

#include <algorithm>
#include <iterator>

#include "tests/callers/exports.h"

namespace tervalon::testing {
namespace {

// Patterns between blanks, of which "*" stands for any end. The first row that fits counts.
bool Fits(std::string_view patterns, std::string_view name) {
  const std::string_view pattern = patterns.substr(0, patterns.find(' '));
  const bool fits = pattern.ends_with('*') ? name.starts_with(pattern.substr(0, pattern.size() - 1))
                                           : pattern == name;
  return fits ||
         (pattern.size() < patterns.size() && Fits(patterns.substr(pattern.size() + 1), name));
}

struct FailureRow {
  std::string_view exports;
  Failure failure;
};

constexpr FailureRow kFailures[] = {
    {"App*", Failure::kAnything},
    {"AxsGetAxisCoord AxsSelectAxis AxsAxisAnn*", Failure::kMinusOne},
    {"AxsDisplayHeader*", Failure::kZero},
    {"AxsDisplay* AxsPlot* AxsAnnotateMagnify", Failure::kMinusOne},
    {"AxsAdjustMagnifyFactor", Failure::kOne},
    {"AxsHdrExcludeRect", Failure::kAnything},
    {"Axs* CosCreate CosPosOfZValue CosXPosOfValue CosYPosOfValue CosValueAt*", Failure::kZero},
    {"Cos*", Failure::kMinusOne},
    {"DmGetHandle* DmLock* DmUnlock*", Failure::kZero},
    {"DmFreezeHandle DmData*", Failure::kAnything},
    {"DmDB3ItemSize DmDB3Compare", Failure::kZero},
    {"DmDB3Read DmRawRead DmRawRelease", Failure::kAnything},
    {"DmRawCompare DmRawIs*", Failure::kZero},
    {"DmRawStrTo*", Failure::kMinusOne},
    {"DmRawMassToStr DmRawFormatMass DmRawSortMassList DmRawValidateChrom DmRawSetupLoHiMass",
     Failure::kZero},
    {"DmRawGet*", Failure::kAnything},
    {"DmRawAnalog*", Failure::kZero},
    {"Dm*", Failure::kMinusOne},
    {"DB3GetTitle", Failure::kAnything},
    {"DB3GetIniGlobals", Failure::kNotZero},
    {"DB3Get* DB3SetReportErrors", Failure::kZero},
    {"DB3ConvertMnemonicToOffset", Failure::kAnything},
    {"DB3ConvertOffsetToMnemonic", Failure::kZero},
    {"DB3*", Failure::kNotZero},
    {"TvSet* TvErrorText", Failure::kAnything},
    {"Tv* RawParseCali* RawFormatCali* RawFileExists", Failure::kZero},
    {"RawGetFuncT*", Failure::kAnything},
    {"RawGetFuncIonMode RawGetFuncDataType RawGetFuncScanCount", Failure::kMinusOne},
    {"RawGetDataTypeDesc RawGet* RawSet* RawFuncDefaultCalib RawIs* RawReadGetFuncMassRange "
     "RawReadSetFuncMassRange",
     Failure::kZero},
    {"RawHistAddProcess", Failure::kNotZero},
    {"RawHistUpdateInfo RawReadProcInfo", Failure::kAnything},
    {"RawHist*", Failure::kZero},
    {"RawReadGetFuncCalibNum RawUse* RawUpdate*", Failure::kAnything},
    {"Raw*", Failure::kNotZero},
    {"Lin*", Failure::kMinusOne},
    {"MsgGetErrorLevel", Failure::kZero},
    {"Msg*", Failure::kAnything},
    {"GenMessage", Failure::kMinusOne},
    {"BroadcastMessage", Failure::kAnything},
    {"ChroStat* SpecStat* CalcMassChroNoiseLevel Plt*", Failure::kZero},
    {"Prc*", Failure::kNotZero},
    {"Pro* RTIndices*", Failure::kZero},
    {"GetGlobalString", Failure::kMinusOne},
    {"GetIni* SetIni* GetGlobal* SetGlobal*", Failure::kZero},
    {"InitIni FreeIni IsIniLoaded IsGCMD InitGlobal FreeGlobal UpdateGlobal GetTervalonWorkingDir "
     "SetTervalonWorkingDir",
     Failure::kAnything},
    {"ftoa etoa gtoa ChannelToDesc CreatePathName CreateKX* Convert* StringToFile GetPath* "
     "IsFileOfType IsValid* DirectoryExists ObtainWindPos RestoreWindPos IniCreateMDIWnd "
     "IniSaveDesktop",
     Failure::kZero},
};

// The pointers that may be NULL.
struct OptionalRow {
  std::string_view exports;
  std::string_view arguments;
};

constexpr OptionalRow kOptional[] = {
    {"*", "user callback fallback owner window instance next error_at"},
    {"AxsSize", "area"},
    {"AxsGetAxisCoord", "point"},
    {"AxsGetBorder", "x_title y_title"},
    {"DmRegisterAdapter", "adapter"},
    {"DmGetHandle*", "desc"},
    {"DB3GetFields", "fields"},
    {"DB3ConvertFldToDBFmt", "field"},
    {"DB3ConvertOffsetToMnemonic", "mnemonics"},
    {"DB3HandleRecord", "record"},
    {"DB3Open", "name"},
    {"DB3CheckFile DB3RepairFile", "findings"},
    {"AxsDisplayDefault*", "x_title y_title"},
    {"AxsDisplayScopeAxes", "x_title y_title"},
    {"AxsGetDataPen*", "*"},
    {"AxsDisplayHeader*", "font"},
    {"AxsGetActiveMagnifyRange", "*"},
    {"AxsSetActiveMagnifyRange", "strip"},
    {"TvCreateFont", "face"},
    {"DmRawGetTraceTypeDescription ChannelToDesc", "raw_file"},
    {"DmRawChannelDesc", "out"},
    {"SpecStatCalcNoiseStats", "range extrema_rate"},
    {"Plt*", "dc"},
    {"PrcSmooth", "positions"},
    {"PrcCentroid", "centroiding"},
    {"PrcFindPeaks", "search calibration"},
    {"PrcReadStep", "*"},
    {"RawParseCali*", "text"},
    {"RawFormatCali*", "set"},
    {"RawGetFuncTimeRange", "first last"},
    {"RawGetFuncMassRange", "low high"},
    {"RawGetFuncChannel", "mass daughter_mass"},
    {"RawAppendFunction", "function"},
    {"RawCreateAnalogInf", "descriptors"},  // with a count of 0
    {"RawReadFuncInfo", "flags"},
    {"RawReadFuncInit", "calibration"},
    {"RawReadGetFuncMassRange", "low high duration"},
    {"DmRawValidateChrom", "daughters"},
    {"RawCheckDirectory RawRepairDirectory", "problems"},
    {"RawReadHeader RawReadProcInfo RawHistUpdateInfo RawReadSpectrum", "*"},
    {"RawReadScanOffsets", "offsets"},
    {"RawReadSpectra", "masses intensities flags"},
    {"RawReadChrom", "*"},
    {"RawReadChromTraces", "values times"},
    {"RawReadAnalogChrom", "*"},
    {"RawCreateScans*", "masses flags"},
    {"RTIndices*", "section"},
    {"TvVersion", "number"},
    {"MsgGetErrorLevel", "style level"},
    {"GenMessage", "caption minimum maximum"},
    {"GetIniString", "section key"},
    {"GetGlobalString", "section key"},
    {"CreatePathName CreateKXFilePathName", "file"},
    {"CreatePathName", "directory extension"},
};

}  // namespace

Failure FailureOf(std::string_view export_name) {
  for (const FailureRow& row : kFailures) {
    if (Fits(row.exports, export_name)) return row.failure;
  }
  return Failure::kUnknown;
}

bool Optional(std::string_view export_name, std::string_view argument) {
  return std::any_of(std::begin(kOptional), std::end(kOptional), [&](const OptionalRow& row) {
    return Fits(row.exports, export_name) && Fits(row.arguments, argument);
  });
}

bool NeverNull(std::string_view export_name, std::string_view argument) {
  return (export_name == "TvSetMessageHandler" || export_name == "TvSetFileChooser") &&
         argument != "user";
}

const HandleRange* RangeOf(std::string_view export_name, std::string_view argument) {
  static constexpr HandleRange kRanges[] = {
      {"Raw", "handle", 0, RAW_MAX_HANDLES - 1},
      {"Dm", "handle", 1, DM_MAX_HANDLES},
      {"Axs", "axes", 1, 49},
      {"Cos", "system", 1, 119},
      {"DB3CheckFile", "type", DB3_ANY_TYPE, DB3_TYPES - 1},
      {"DB3RepairFile", "type", DB3_ANY_TYPE, DB3_TYPES - 1},
      {"DB3", "type", 0, DB3_TYPES - 1},
  };
  for (const HandleRange& range : kRanges) {
    if (export_name.starts_with(range.prefix) && argument == range.argument) return &range;
  }
  return nullptr;
}

bool BoundedByData(std::string_view export_name) {
  for (const std::string_view prefix : {"RawRead", "RawCreateScans", "DmGetData", "DmLockData",
                                        "DmDataRead", "DmRawRead", "DmDB3Read"}) {
    if (export_name.starts_with(prefix)) return true;
  }
  return false;
}

size_t FixedElements(std::string_view export_name, std::string_view argument) {
  struct Row {
    std::string_view exports;
    std::string_view argument;
    size_t elements;
  };
  static constexpr Row kRows[] = {
      {"AxsPlotImage", "colours", size_t{256} * 256},
      {"RawHist*", "entries", RAW_HISTORY_ENTRIES},
      {"RawReadProcInfo", "entries", RAW_HISTORY_ENTRIES},
      {"RawReadFuncInfo", "*", RAW_MAX_FUNCTIONS},
      {"RawFormatCaliCoeffs", "text", 256},
      {"RawFormatCaliStdDevs", "text", 64},
      {"RawHandleGetClusterName", "directory", TV_PATH_SIZE},
      {"GetTervalonWorkingDir", "directory", TV_PATH_SIZE},
      {"DmRawFileToID", "identifier", TV_PATH_SIZE},
      {"ftoa", "text", 32},
      {"etoa", "text", 40},
      {"gtoa", "text", 40},
      {"DmRawFormatMass", "text", 32},
      {"RawGetDataTypeDesc", "text", 32},
      {"RawGetIonModeDesc", "text", 8},
      {"RawGetHeaderTag", "text", 64},
      {"DmRawMassToStr", "list", 24},
      {"DmRawSortMassList", "list", 24},
      {"DmRawMassToStr", "text", 24 * 33 + 1},
      {"DmRawSetupLoHiMass", "list", 24},
      {"DmRawSetupLoHiMass", "traces", 30},
      {"DB3Convert*", "text", 8192},
      {"DB3Convert*", "record", 1024},
      {"DB3Convert*", "member", 8192},
  };
  for (const Row& row : kRows) {
    if (Fits(row.exports, export_name) && Fits(row.argument, argument)) return row.elements;
  }
  return 0;
}

}  // namespace tervalon::testing
