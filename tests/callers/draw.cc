#include "tests/callers/draw.h"

#if !defined(_WIN32)
#include <cairo.h>
#endif

#include <algorithm>

namespace tervalon::testing {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr size_t kGuard = 0;  // it has its own
#else
constexpr size_t kGuard = 64;
#endif
constexpr uint8_t kGuardByte = 0xA5;

constexpr int64_t kLongest = 70000;  // elements that are really there

constexpr int64_t kMostCells = 1 << 26;  // of an image: what exceeds that is refused

// What an argument of that name usually is. All others: 0 to 4.
struct UsualRow {
  std::string_view argument;
  std::vector<int64_t> numbers;
};
const UsualRow kUsual[] = {
    {"function", {1, 1, 2, 3, 0}},
    {"process", {0, 0, 0, 1, 2}},
    {"count", {0, 1, 2, 5, 100}},
    {"n", {1, 2, 5, 100, 1000}},
    {"size", {1, 2, 100, 260, 600}},
    {"capacity", {0, 1, 100}},
    {"out_size", {1, 10, 260}},
    {"length", {1, 10, 260}},
    {"max_count", {1, 5, 30}},
    {"channels", {0, 1, 3, 4}},
    {"desc_size", {456, 456, 276, 8, 0}},
    {"item_count", {0, 1, 2, 4}},
    {"item_size", {4, 4, 8, 1, 0}},
    {"trace_count", {0, 1, 3}},
    {"scan_count", {0, 1, 3, 10}},
    {"width", {1, 100, 300}},
    {"height", {1, 100, 300}},
    {"pixels_per_inch", {96, 300}},
    {"selector", {0, 1, 2, 3, 4, 6, 8, 9, 10, 11, 12}},
    {"first", {1, 1, 2, 5}},
    {"scan", {1, 1, 2, 10}},
    {"mode", {0, 1, 1, 2, 3, 4, 5, 0x12}},
    {"message", {0, 16, 1036}},
};
const std::vector<int64_t> kWrong = {
    -1,    0,   5,     11,    19,     20,         32,          33,         255,       256,
    1000,  257, 32767, 32768, 65535,  -32768,     0x3FFFFF,    0x400000,   kLongest,  0x20000000,
    30000, 126, 127,   128,   100000, 2147483647, -2147483648, 4294967295, 2147483646};

const char* const kTexts[] = {"A.RAW",
                              "A.RAW",
                              "A.RAW",
                              "B.RAW",
                              "T.MDB",
                              "U.MDB",
                              "S",
                              "SystemList",
                              "SystemList",
                              "RAW",
                              "METHOD_DB",
                              "PEAK_DB",
                              "PROJECT",
                              "K",
                              "K2",
                              "IsGCMD",
                              "Acquisition",
                              "",
                              "TRUE",
                              "x.png",
                              "x.svg",
                              "y.pdf",
                              "P.PRO",
                              "184.1+200-150",
                              "100_200,TIC,AN1",
                              "184>126",
                              "Ch1+Ch2",
                              "TIC",
                              "1.0,2.5e3,-1,T1",
                              "1.5",
                              "1,D,N,RAW,1,2,1,0",
                              "TRUE,SW_SHOWNORMAL,1,2,3,4",
                              "NAME",
                              "RAW",
                              "2,STOP|YESNO,text %s %d",
                              "no\r\nline",
                              "Sans",
                              "\xE9\xFF\x80",
                              "%s%n%d",
                              "a=b",
                              "[x]"};

}  // namespace

Held held;

#if !defined(_WIN32)
struct _cairo* NewCairo() {
  static cairo_surface_t* const surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 300, 200);
  static cairo_t* cairo = nullptr;
  cairo_destroy(cairo);
  return cairo = cairo_create(surface);
}
#endif

// --- Buffers

Buffer::Buffer(size_t size) : size_(size), bytes_(new uint8_t[size + 2 * kGuard]) {
  std::fill_n(bytes_.get(), kGuard, kGuardByte);
  std::fill_n(data() + size, kGuard, kGuardByte);
}

uint8_t* Buffer::data() const { return bytes_.get() + kGuard; }

bool Buffer::Intact() const {
  const auto is_guard = [](uint8_t byte) { return byte == kGuardByte; };
  return std::all_of(bytes_.get(), data(), is_guard) &&
         std::all_of(data() + size_, data() + size_ + kGuard, is_guard);
}

// --- One call

Draw::Draw(uint64_t seed, const char* export_name, const std::vector<const char*>& names, int wrong,
           double mischief)
    : random_(static_cast<uint32_t>(seed * 2654435761u >> 7)),
      export_(export_name),
      names_(names),
      wrong_(wrong),
      mischief_(mischief) {}

bool Draw::Intact() const {
  return std::all_of(buffers_.begin(), buffers_.end(), [](const Buffer& b) { return b.Intact(); });
}

void Draw::Finish(bool done) const {
  for (const auto& action : later_) action(done);
}

uint8_t* Draw::Bytes(size_t size) { return buffers_.emplace_back(size).data(); }

int64_t Draw::Integer(size_t i, int64_t low, int64_t high) {
  const auto fitting = [&](int64_t number) {  // as the compiler would convert it
    if (number >= low && number <= high) return number;
    return low == 0 ? number & high : ((number - low) & (high - low)) + low;
  };
  const HandleRange* const range = RangeOf(export_, name_);
  const bool wrong = Wrong(i);
  if (range != nullptr) {
    int64_t number = range->first + static_cast<int64_t>(Below(Chance(0.8) ? 2 : 20));
    if (range->argument == "type" && Chance(0.7)) number = 8;
    number = std::min(number, range->last);
    if (wrong) {
      number = Any<int64_t>({range->first - 1, range->last + 1, low, high});
      must_fail_ = true;
    }
    return number;
  }
  const bool counts = Is("count") || Is("n") || Is("size") || Is("capacity") || Is("out_size") ||
                      Is("length") || Is("channels") || Is("max_count") || Is("trace_count") ||
                      Is("scan_count") || Is("item_size");
  int64_t number = 0;
  if (wrong) {
    number = fitting(Any(kWrong));
    const bool arrays = counts && !(BoundedByData(export_) && Is("count"));
    if (arrays && number > kLongest) number = fitting(1000);
    if (IsIn("LinScale") && number > 1000) number = 1000;
    if (IsIn("AxsPlotImage") && number <= kMostCells) number = std::min<int64_t>(number, 256);
    return number;
  }
  const auto* const row = std::find_if(std::begin(kUsual), std::end(kUsual),
                                       [&](const UsualRow& usual) { return Is(usual.argument); });
  if (row != std::end(kUsual)) return fitting(Any(row->numbers));
  if (IsIn("DmGetHandle") || IsIn("DmData") || IsIn("DmRegister")) {
    if (Is("type")) return Any<int64_t>({0, 0, 0, 11, 1, 2, 20});
  }
  return static_cast<int64_t>(Below(5));
}

double Draw::Real() {
  if (!Chance(mischief_)) return Any<double>({0, 0.5, 1, 2, 3.7, 100, 184.1, 250, -1});
  const double infinity = std::numeric_limits<double>::infinity();
  return Any<double>({-0.0, 1e-30, 1e30, -1e30, 3.4e38, -3.4e38, infinity, -infinity,
                      std::numeric_limits<double>::quiet_NaN(), 1e-42, 32000, 64000, -184.1});
}

// Text that a caller may write to, too.
char* Draw::Text() {
  std::string text = Any<const char*>({std::begin(kTexts), std::end(kTexts)});
  if ((Is("directory") || Is("identifier")) && Chance(0.6)) text = "A.RAW";
  if (Chance(mischief_ / 2)) {
    text.resize(Any<size_t>({31, 64, 255, 256, 259, 260, 511, 512, 5000}), 'a');
  } else if (Chance(mischief_ / 2)) {
    text.resize(Below(40));
    FillBytes(text.data(), text.size());
    std::replace(text.begin(), text.end(), '\0', 'z');
  }
  const bool list = Is("x_title") || Is("y_title");
  if (list && text.size() > 512) text.resize(512);
  char* const copy = Array<char>(text.size() + 1);
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

size_t Draw::Elements() const {
  if (const size_t fixed = FixedElements(export_, name_); fixed != 0) return fixed;
  static constexpr std::string_view kArrays[] = {
      "values",  "times",    "masses",    "intensities", "flags",       "x",
      "y",       "variance", "used",      "list",        "records",     "descriptors",
      "headers", "fields",   "table",     "rects",       "findings",    "out",
      "text",    "items",    "positions", "smoothed",    "peak_masses", "peak_intensities",
      "offsets"};
  const bool array = std::find(std::begin(kArrays), std::end(kArrays), name_) != std::end(kArrays);
  int64_t elements = 1;
  if (Is("item_sizes") || Is("traces") || Is("scans")) {
    elements = items_ != -1 ? items_ : 1;
  } else if (Is("list") || (Is("offsets") && items_ != -1)) {
    elements = items_ + 1;
  } else if (Is("descriptors") && IsIn("RawReadAnalog")) {
    elements = kLongest;  // the count comes behind it
  } else if (array && count_ != -1) {
    elements = count_;
    if (IsIn("LinScale") && scale_ > 1 && scale_ < 100000 && elements > 0) {
      return static_cast<size_t>(static_cast<double>(elements) * scale_) + 1;
    }
  } else if (array) {
    elements = 512;
  }
  return static_cast<size_t>(std::clamp<int64_t>(elements, 0, kLongest + 1));
}

// --- What arrays and structures hold

// Bytes without separators and drive letters: nothing outside of the directory is to be named.
void Draw::FillBytes(void* bytes, size_t size) {
  auto* const at = static_cast<uint8_t*>(bytes);
  const size_t kind = Chance(mischief_) ? Below(3) : 3 + Below(2);
  for (size_t i = 0; i < size; ++i) {
    uint8_t byte = 0;
    if (kind == 0) byte = static_cast<uint8_t>(random_());
    if (kind == 1) byte = 0xFF;
    if (kind == 2) byte = static_cast<uint8_t>('a' + Below(26));
    if (kind == 3) byte = i % 4 == 0 ? static_cast<uint8_t>(Below(4)) : 0;
    at[i] = byte == '/' || byte == '\\' || byte == ':' || byte == '.' ? uint8_t{'_'} : byte;
  }
}

void* Draw::Descriptor() {
  uint8_t* const bytes = Bytes(bytes_ >= 0 ? static_cast<size_t>(bytes_) : sizeof(DmRawDescriptor));
  const size_t size = buffers_.back().size();
  std::fill_n(bytes, size, uint8_t{0});
  if (Chance(0.3)) return bytes;  // also that of a structure without a block
  DmRawDescriptor raw = {};
  Fill(&raw);
  DmDatabaseDescriptor database = {};
  Fill(&database);
  if (Chance(0.8)) {
    std::memcpy(bytes, &raw, std::min(sizeof raw, size));
  } else {
    std::memcpy(bytes, &database, std::min(sizeof database, size));
  }
  return bytes;
}

void Draw::Fill(SystemFile* file) {
  FillBytes(file, sizeof *file);
  if (Chance(mischief_ / 2)) return;
  *file = {};
  std::strcpy(file->name, Any<const char*>({"A", "P", "T", ""}));
  std::strcpy(file->extension, Any<const char*>({"RAW", "PRO", "MDB", ""}));
}

void Draw::Fill(SystemRawFile* file) {
  FillBytes(file, sizeof *file);
  if (Chance(mischief_ / 2)) return;
  *file = {};
  std::strcpy(file->name, "A");
  std::strcpy(file->extension, "RAW");
  file->function = static_cast<int16_t>(1 + Below(3));
  file->first_value = static_cast<int32_t>(Below(4));
}

void Draw::Fill(DmRawDescriptor* descriptor) {
  FillBytes(descriptor, sizeof *descriptor);
  if (Chance(mischief_ / 2)) return;
  *descriptor = {};
  std::strcpy(descriptor->directory, "A.RAW");
  descriptor->function = static_cast<int16_t>(1 + Below(3));
  descriptor->process = static_cast<int16_t>(Below(6) == 0);
  descriptor->kind = static_cast<int16_t>(2 + Below(2));
  descriptor->selection = Any<uint16_t>({0, 1, 0x0201, 0x0401});
  descriptor->scan = static_cast<int32_t>(Below(4));
  Fill(&descriptor->trace);
}

void Draw::Fill(DmDatabaseDescriptor* descriptor) {
  FillBytes(descriptor, sizeof *descriptor);
  if (Chance(mischief_ / 2)) return;
  *descriptor = {};
  std::strcpy(descriptor->path, Any<const char*>({"T.MDB", "U.MDB"}));
  descriptor->type = 8;
  descriptor->fields[0] = static_cast<int16_t>(Below(4));
}

void Draw::Fill(DmTraceRecord* trace) {
  FillBytes(trace, sizeof *trace);
  if (Chance(mischief_ / 2)) return;
  *trace = {};
  trace->type = static_cast<uint32_t>(Below(7));
  for (size_t i = 0; i < Below(6); ++i) trace->masses[i] = static_cast<float>(Real());
}

void Draw::Fill(RawFunctionRecord* record) {
  FillBytes(record, sizeof *record);
  if (Chance(mischief_ / 2)) return;
  *record = {};
  const auto word = Below(25) | Below(13) << 10;  // type and data type
  record->bytes[0] = static_cast<uint8_t>(word);
  record->bytes[1] = static_cast<uint8_t>(word >> 8);
}

void Draw::Fill(RawTrace* trace) {
  *trace = {};
  trace->kind = static_cast<int32_t>(Below(3));
  if (IsIn("DmRawSetupLoHiMass")) {
    trace->windows = Chance(mischief_ / 4) ? nullptr : Filled<RawTraceWindow>(24);
    return;
  }
  trace->window_count =
      Chance(mischief_) ? Any<int16_t>({-1, 0, -32768, 1000}) : static_cast<int16_t>(Below(4));
  if (Chance(mischief_ / 4)) return;
  trace->windows =
      Filled<RawTraceWindow>(static_cast<size_t>(std::max<int16_t>(trace->window_count, 0)));
  for (int16_t i = 0; i < trace->window_count; ++i) {
    trace->windows[i].low = static_cast<float>(Real());
    trace->windows[i].high = static_cast<float>(Real());
  }
}

void Draw::Fill(AxsStyle* style) {
  FillBytes(style, sizeof *style);
  style->axis_pen = Chance(0.5) ? nullptr : HandleOf(held.pens);
  style->tick_pen = Chance(0.5) ? nullptr : HandleOf(held.pens);
  style->label_font = Chance(0.5) ? nullptr : HandleOf(held.fonts);
  style->title_font = Chance(0.5) ? nullptr : HandleOf(held.fonts);
  style->ticks = nullptr;
  if (Chance(0.5)) {
    auto* const ticks = Filled<AxsTickInfo>(1);
    ticks->first = static_cast<float>(Real());
    ticks->last = static_cast<float>(Real());
    ticks->step = static_cast<float>(Real());
    style->ticks = ticks;
  }
  style->title = Chance(0.5) ? nullptr : Text();
}

void Draw::Fill(AxsPlotBlock* plot) {
  FillBytes(plot, sizeof *plot);
  plot->count = Chance(mischief_ / 2) ? -1 : static_cast<int32_t>(Below(50));
  plot->label_count = Chance(mischief_ / 2) ? -1 : static_cast<int32_t>(Below(5));
  const auto points = static_cast<size_t>(std::max(plot->count, 0));
  const auto labels = static_cast<size_t>(std::max(plot->label_count, 0));
  plot->z = static_cast<float>(Real());
  plot->x = Chance(mischief_ / 4) ? nullptr : Filled<float>(points);
  plot->y = Chance(mischief_ / 4) ? nullptr : Filled<float>(points);
  auto* const texts = Array<AxsPlotLabel>(labels);
  for (size_t i = 0; i < labels; ++i) {
    texts[i] = {static_cast<float>(Real()), static_cast<float>(Real()),
                Chance(0.5) ? Text() : nullptr};
  }
  plot->labels = Chance(mischief_ / 4) ? nullptr : texts;
  plot->label_rects = Chance(0.5) ? nullptr : Array<TvRect>(labels);
}

void Draw::Fill(PltResources* resources) {
  FillBytes(resources, sizeof *resources);
  const auto pen = [&] { return Chance(0.5) ? nullptr : HandleOf(held.pens); };
  resources->axis_pen = pen();
  resources->tick_pen = pen();
  resources->axis_font = Chance(0.5) ? nullptr : HandleOf(held.fonts);
  for (PltDataStyle& style : resources->first) style.pen = pen();
  for (PltDataStyle& style : resources->second) style.pen = pen();
}

void Draw::Fill(TvDocumentCreate* create) {
  *create = {};
  create->window_class = "none";
  create->title = Text();
}

void Draw::Fill(TvRect* rect) {
  const auto number = [&] {
    return Chance(mischief_ / 2) ? Any<int32_t>({-1, INT32_MIN, INT32_MAX, 32768, -100000})
                                 : static_cast<int32_t>(Below(300));
  };
  *rect = {number(), number(), number(), number()};
}

void Draw::Fill(AxsRange* range) {
  *range = {static_cast<float>(Real()), static_cast<float>(Real()), static_cast<float>(Real())};
}

void Draw::Fill(DB3FieldOffsetWidth* entry) {
  entry->offset = Any<int32_t>({0, 0, 1, 100, 512});
  entry->width = static_cast<int32_t>(Below(256));
  entry->decimals = static_cast<int32_t>(Below(5));
  if (!Chance(mischief_)) return;
  entry->width = Any<int32_t>({0, -1, 256, INT32_MAX, INT32_MIN});
  entry->decimals = Any<int32_t>({0, -1, 256, INT32_MAX, INT32_MIN});
  if (Chance(0.5)) entry->offset = Any<int32_t>({-1, INT32_MIN});
}

void Draw::Fill(DmAdapter* adapter) {
  *adapter = {};
  if (!Chance(0.5)) *adapter = {Callback, Callback, Callback, Callback};
}

void Draw::Fill(AppPenProcedures* procedures) {
  *procedures = {};
  if (!Chance(0.3)) *procedures = {Callback, Callback, Callback};
}

void Draw::Fill(LinDataset* result) {
  *result = {};
  Later([result](bool done) {
    if (done) TvMemFree(result->values);
  });
}

void Draw::Fill(LinVarianceDataset* result) {
  *result = {};
  Later([result](bool done) {
    if (!done) return;
    TvMemFree(result->values);
    TvMemFree(result->variances);
  });
}

void Draw::Fill(PrcStep* step) {
  FillBytes(step, sizeof *step);
  if (Chance(mischief_ / 2)) return;
  *step = {};
  step->type = Any<int32_t>({RAW_STEP_COMBINE, RAW_STEP_SMOOTH, RAW_STEP_CENTER});
  step->combining.scans[0] = {1, 1 + static_cast<int32_t>(Below(3))};
  step->smoothing = {PRC_SMOOTH_MEAN, 1, 1, 0};
  step->centroiding.top = 1;
  step->trace = static_cast<int32_t>(Below(4));
  step->scan = step->type == RAW_STEP_SMOOTH && step->trace != PRC_TRACE_NONE ? 0 : 1;
}

void Draw::Fill(RawHistoryHeader* header) {
  FillBytes(header, sizeof *header);
  if (!Chance(mischief_ / 2)) header->tree_count = RAW_HISTORY_TREES;
}

}  // namespace tervalon::testing
