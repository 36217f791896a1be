#include "tests/callers/contract.h"

#include <algorithm>
#include <iterator>

#include "tests/callers/exports.h"

namespace tervalon::testing {
namespace {

// The first row that fits counts; "*" stands for any end.
bool Fits(std::string_view pattern, std::string_view name) {
  if (pattern.ends_with('*')) return name.starts_with(pattern.substr(0, pattern.size() - 1));
  return pattern == name;
}

struct FailureRow {
  std::string_view exports;
  Failure failure;
};

constexpr FailureRow kFailures[] = {
    {"App*", Failure::kAnything},
    {"AxsGetAxisCoord", Failure::kMinusOne},
    {"AxsSelectAxis", Failure::kMinusOne},
    {"AxsAxisAnn*", Failure::kMinusOne},
    {"AxsDisplayHeader*", Failure::kZero},
    {"AxsDisplay*", Failure::kMinusOne},
    {"AxsPlot*", Failure::kMinusOne},
    {"AxsAnnotateMagnify", Failure::kMinusOne},
    {"AxsAdjustMagnifyFactor", Failure::kOne},
    {"AxsHdrExcludeRect", Failure::kAnything},
    {"Axs*", Failure::kZero},
    {"CosCreate", Failure::kZero},
    {"CosPosOfZValue", Failure::kZero},
    {"CosXPosOfValue", Failure::kZero},
    {"CosYPosOfValue", Failure::kZero},
    {"CosValueAt*", Failure::kZero},
    {"Cos*", Failure::kMinusOne},
    {"DmGetHandle*", Failure::kZero},
    {"DmLock*", Failure::kZero},
    {"DmUnlock*", Failure::kZero},
    {"DmFreezeHandle", Failure::kAnything},
    {"DmData*", Failure::kAnything},
    {"DmDB3ItemSize", Failure::kZero},
    {"DmDB3Compare", Failure::kZero},
    {"DmDB3Read", Failure::kAnything},
    {"DmRawRead", Failure::kAnything},
    {"DmRawRelease", Failure::kAnything},
    {"DmRawCompare", Failure::kZero},
    {"DmRawIs*", Failure::kZero},
    {"DmRawStrTo*", Failure::kMinusOne},
    {"DmRawMassToStr", Failure::kZero},
    {"DmRawFormatMass", Failure::kZero},
    {"DmRawSortMassList", Failure::kZero},
    {"DmRawValidateChrom", Failure::kZero},
    {"DmRawSetupLoHiMass", Failure::kZero},
    {"DmRawGet*", Failure::kAnything},
    {"DmRawAnalog*", Failure::kZero},
    {"Dm*", Failure::kMinusOne},
    {"DB3GetTitle", Failure::kAnything},
    {"DB3GetIniGlobals", Failure::kNotZero},
    {"DB3Get*", Failure::kZero},
    {"DB3SetReportErrors", Failure::kZero},
    {"DB3ConvertMnemonicToOffset", Failure::kAnything},
    {"DB3ConvertOffsetToMnemonic", Failure::kZero},
    {"DB3*", Failure::kNotZero},
    {"TvSet*", Failure::kAnything},
    {"TvErrorText", Failure::kAnything},
    {"Tv*", Failure::kZero},
    {"RawParseCali*", Failure::kZero},
    {"RawFormatCali*", Failure::kZero},
    {"RawFileExists", Failure::kZero},
    {"RawGetFuncT*", Failure::kAnything},
    {"RawGetFuncIonMode", Failure::kMinusOne},
    {"RawGetFuncDataType", Failure::kMinusOne},
    {"RawGetFuncScanCount", Failure::kMinusOne},
    {"RawGetDataTypeDesc", Failure::kZero},
    {"RawGet*", Failure::kZero},
    {"RawSet*", Failure::kZero},
    {"RawFuncDefaultCalib", Failure::kZero},
    {"RawIs*", Failure::kZero},
    {"RawReadGetFuncMassRange", Failure::kZero},
    {"RawReadSetFuncMassRange", Failure::kZero},
    {"RawHistAddProcess", Failure::kNotZero},
    {"RawHistUpdateInfo", Failure::kAnything},
    {"RawReadProcInfo", Failure::kAnything},
    {"RawHist*", Failure::kZero},
    {"RawReadGetFuncCalibNum", Failure::kAnything},
    {"RawUse*", Failure::kAnything},
    {"RawUpdate*", Failure::kAnything},
    {"Raw*", Failure::kNotZero},
    {"Lin*", Failure::kMinusOne},
    {"MsgGetErrorLevel", Failure::kZero},
    {"Msg*", Failure::kAnything},
    {"GenMessage", Failure::kMinusOne},
    {"BroadcastMessage", Failure::kAnything},
    {"ChroStat*", Failure::kZero},
    {"SpecStat*", Failure::kZero},
    {"CalcMassChroNoiseLevel", Failure::kZero},
    {"Plt*", Failure::kZero},
    {"Prc*", Failure::kNotZero},
    {"Pro*", Failure::kZero},
    {"RTIndices*", Failure::kZero},
    {"GetGlobalString", Failure::kMinusOne},
    {"GetIni*", Failure::kZero},
    {"SetIni*", Failure::kZero},
    {"GetGlobal*", Failure::kZero},
    {"SetGlobal*", Failure::kZero},
    {"InitIni", Failure::kAnything},
    {"FreeIni", Failure::kAnything},
    {"IsIniLoaded", Failure::kAnything},
    {"IsGCMD", Failure::kAnything},
    {"InitGlobal", Failure::kAnything},
    {"FreeGlobal", Failure::kAnything},
    {"UpdateGlobal", Failure::kAnything},
    {"GetTervalonWorkingDir", Failure::kAnything},
    {"SetTervalonWorkingDir", Failure::kAnything},
    {"ftoa", Failure::kZero},
    {"etoa", Failure::kZero},
    {"gtoa", Failure::kZero},
    {"ChannelToDesc", Failure::kZero},
    {"CreatePathName", Failure::kZero},
    {"CreateKX*", Failure::kZero},
    {"Convert*", Failure::kZero},
    {"StringToFile", Failure::kZero},
    {"GetPath*", Failure::kZero},
    {"IsFileOfType", Failure::kZero},
    {"IsValid*", Failure::kZero},
    {"DirectoryExists", Failure::kZero},
    {"ObtainWindPos", Failure::kZero},
    {"RestoreWindPos", Failure::kZero},
    {"IniCreateMDIWnd", Failure::kZero},
    {"IniSaveDesktop", Failure::kZero},
};

// The pointers that may be NULL.
struct OptionalRow {
  std::string_view exports;
  std::string_view argument;
};

constexpr OptionalRow kOptional[] = {
    {"*", "user"},
    {"*", "callback"},
    {"*", "fallback"},
    {"*", "owner"},
    {"*", "window"},
    {"*", "instance"},
    {"*", "next"},
    {"*", "error_at"},
    {"AxsSize", "area"},
    {"AxsGetAxisCoord", "point"},
    {"AxsGetBorder", "x_title"},
    {"AxsGetBorder", "y_title"},
    {"DmRegisterAdapter", "adapter"},
    {"DmGetHandle*", "desc"},
    {"DB3GetFields", "fields"},
    {"DB3ConvertFldToDBFmt", "field"},
    {"DB3ConvertOffsetToMnemonic", "mnemonics"},
    {"DB3HandleRecord", "record"},
    {"DB3Open", "name"},
    {"DB3CheckFile", "findings"},
    {"DB3RepairFile", "findings"},
    {"AxsDisplayDefault*", "x_title"},
    {"AxsDisplayDefault*", "y_title"},
    {"AxsDisplayScopeAxes", "x_title"},
    {"AxsDisplayScopeAxes", "y_title"},
    {"AxsGetDataPen*", "*"},
    {"AxsDisplayHeader*", "font"},
    {"AxsGetActiveMagnifyRange", "*"},
    {"AxsSetActiveMagnifyRange", "strip"},
    {"TvCreateFont", "face"},
    {"DmRawGetTraceTypeDescription", "raw_file"},
    {"ChannelToDesc", "raw_file"},
    {"DmRawChannelDesc", "out"},
    {"SpecStatCalcNoiseStats", "range"},
    {"SpecStatCalcNoiseStats", "extrema_rate"},
    {"Plt*", "dc"},
    {"PrcSmooth", "positions"},
    {"PrcCentroid", "centroiding"},
    {"PrcFindPeaks", "search"},
    {"PrcFindPeaks", "calibration"},
    {"PrcReadStep", "*"},
    {"RawParseCali*", "text"},
    {"RawFormatCali*", "set"},
    {"RawGetFuncTimeRange", "first"},
    {"RawGetFuncTimeRange", "last"},
    {"RawGetFuncMassRange", "low"},
    {"RawGetFuncMassRange", "high"},
    {"RawGetFuncChannel", "mass"},
    {"RawGetFuncChannel", "daughter_mass"},
    {"RawAppendFunction", "function"},
    {"RawCreateAnalogInf", "descriptors"},  // with a count of 0
    {"RawReadFuncInfo", "flags"},
    {"RawReadFuncInit", "calibration"},
    {"RawReadGetFuncMassRange", "low"},
    {"RawReadGetFuncMassRange", "high"},
    {"RawReadGetFuncMassRange", "duration"},
    {"DmRawValidateChrom", "daughters"},
    {"RawCheckDirectory", "problems"},
    {"RawRepairDirectory", "problems"},
    {"RawReadHeader", "*"},
    {"RawReadProcInfo", "*"},
    {"RawHistUpdateInfo", "*"},
    {"RawReadSpectrum", "*"},
    {"RawReadScanOffsets", "offsets"},
    {"RawReadSpectra", "masses"},
    {"RawReadSpectra", "intensities"},
    {"RawReadSpectra", "flags"},
    {"RawReadChrom", "*"},
    {"RawReadChromTraces", "values"},
    {"RawReadChromTraces", "times"},
    {"RawReadAnalogChrom", "*"},
    {"RawCreateScans*", "masses"},
    {"RawCreateScans*", "flags"},
    {"RTIndices*", "section"},
    {"TvVersion", "number"},
    {"MsgGetErrorLevel", "style"},
    {"MsgGetErrorLevel", "level"},
    {"GenMessage", "caption"},
    {"GenMessage", "minimum"},
    {"GenMessage", "maximum"},
    {"GetIniString", "section"},
    {"GetIniString", "key"},
    {"GetGlobalString", "section"},
    {"GetGlobalString", "key"},
    {"CreatePathName", "file"},
    {"CreateKXFilePathName", "file"},
    {"CreatePathName", "directory"},
    {"CreatePathName", "extension"},
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
    return Fits(row.exports, export_name) && Fits(row.argument, argument);
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
