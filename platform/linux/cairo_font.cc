#include "platform/linux/cairo_font.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

namespace tervalon::platform {
namespace {

constexpr int32_t kUsualHeight = -12;
constexpr int32_t kMostHeight = 10000;
constexpr int32_t kBoldWeight = 600;
constexpr const char* kPlainFamily = "sans-serif";

constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

int32_t Rounded(double value) { return static_cast<int32_t>(std::lround(value)); }

// A UTF-8 sequence by its first byte: how many follow, what the first adds, and the smallest
// character that needs as many.
struct SequenceKind {
  unsigned char mask, first;
  int following;
  uint32_t smallest;
};
constexpr std::array<SequenceKind, 4> kSequences = {
    {{0x80, 0x00, 0, 0}, {0xE0, 0xC0, 1, 0x80}, {0xF0, 0xE0, 2, 0x800}, {0xF8, 0xF0, 3, 0x10000}}};

// Cairo stops using a font for good once it has met a text with a character that there is not.
bool IsCharacter(uint32_t code) {
  return code < 0x110000 && (code & 0xFFFFF800) != 0xD800 && (code < 0xFDD0 || code > 0xFDEF) &&
         (code & 0xFFFE) != 0xFFFE;
}

// Takes a character off the text's front. False where there is none.
bool TakeCharacter(std::string_view* text) {
  const auto first = static_cast<unsigned char>(text->front());
  for (const SequenceKind& kind : kSequences) {
    if ((first & kind.mask) != kind.first) continue;
    uint32_t code = first & static_cast<unsigned char>(~kind.mask);
    if (text->size() <= static_cast<size_t>(kind.following)) return false;
    for (const char c : text->substr(1, static_cast<size_t>(kind.following))) {
      if ((c & 0xC0) != 0x80) return false;
      code = code << 6 | (c & 0x3F);
    }
    text->remove_prefix(static_cast<size_t>(kind.following) + 1);
    return code >= kind.smallest && IsCharacter(code);
  }
  return false;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    if (!TakeCharacter(&text)) return false;
  }
  return true;
}

}  // namespace

std::string Utf8(std::string_view text) {
  if (IsUtf8(text)) return std::string(text);
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      result += c;
    } else {
      result += static_cast<char>(0xC0 | byte >> 6);
      result += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return result;
}

namespace {

// A text's glyphs in their places, with the characters that they stand for.
struct Glyphs {
  Glyphs(cairo_scaled_font_t* font, double x, double y, std::string_view text) : utf8(Utf8(text)) {
    valid = Cairo::scaled_font_text_to_glyphs(
                font, x, y, utf8.data(), static_cast<int>(utf8.size()), &glyphs, &glyph_count,
                &clusters, &cluster_count, &flags) == CAIRO_STATUS_SUCCESS;
  }
  ~Glyphs() {
    Cairo::glyph_free(glyphs);
    Cairo::text_cluster_free(clusters);
  }
  Glyphs(const Glyphs&) = delete;
  Glyphs& operator=(const Glyphs&) = delete;

  std::string utf8;
  bool valid = false;
  cairo_glyph_t* glyphs = nullptr;
  int glyph_count = 0;
  cairo_text_cluster_t* clusters = nullptr;
  int cluster_count = 0;
  cairo_text_cluster_flags_t flags = {};
};

cairo_font_face_t* MakeFace(const FontDescription& description) {
  const std::string family = description.face.empty() ? kPlainFamily : Utf8(description.face);
  return Cairo::toy_font_face_create(
      family.c_str(), CAIRO_FONT_SLANT_NORMAL,
      description.weight >= kBoldWeight ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
}

// Whole pixels on an image, whatever the fonts' own settings are on this machine.
cairo_font_options_t* MakeOptions() {
  cairo_font_options_t* options = Cairo::font_options_create();
  Cairo::font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  Cairo::font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
  Cairo::font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_ON);
  return options;
}

cairo_scaled_font_t* Scaled(cairo_font_face_t* face, double size,
                            const cairo_font_options_t* options) {
  cairo_matrix_t font_matrix;
  cairo_matrix_t device_matrix;
  Cairo::matrix_init_scale(&font_matrix, size, size);
  Cairo::matrix_init_identity(&device_matrix);
  return Cairo::scaled_font_create(face, &font_matrix, &device_matrix, options);
}

// The size of the characters of a font whose lines are `height` high.
double SizeOfLineHeight(cairo_font_face_t* face, int32_t height) {
  constexpr double kProbe = 1000;
  cairo_font_options_t* options = Cairo::font_options_create();
  Cairo::font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_scaled_font_t* probe = Scaled(face, kProbe, options);
  cairo_font_extents_t extents = {};
  Cairo::scaled_font_extents(probe, &extents);
  Cairo::scaled_font_destroy(probe);
  Cairo::font_options_destroy(options);
  const double line = extents.ascent + extents.descent;
  return line > 0 ? height * kProbe / line : height;
}

}  // namespace

std::shared_ptr<const CairoFont> CairoFont::Make(const FontDescription& description) {
  const int32_t height = description.height != 0 ? description.height : kUsualHeight;
  if (height < -kMostHeight || height > kMostHeight || !Cairo::Load()) return nullptr;

  std::shared_ptr<CairoFont> font(new CairoFont);
  cairo_font_face_t* face = MakeFace(description);
  cairo_font_options_t* options = MakeOptions();
  const double size = height > 0 ? SizeOfLineHeight(face, height) : -height;
  font->scaled_ = Scaled(face, size, options);
  font->family_ = Cairo::toy_font_face_get_family(face);
  font->size_ = size;
  font->bold_ = description.weight >= kBoldWeight;
  Cairo::font_options_destroy(options);
  Cairo::font_face_destroy(face);
  if (Cairo::scaled_font_status(font->scaled_) != CAIRO_STATUS_SUCCESS) return nullptr;

  cairo_font_extents_t extents;
  Cairo::scaled_font_extents(font->scaled_, &extents);
  TextMetrics& metrics = font->metrics_;
  metrics.ascent = Rounded(extents.ascent);
  metrics.height = metrics.ascent + Rounded(extents.descent);
  metrics.internal_leading = std::max(0, metrics.height - Rounded(size));
  const auto letters = static_cast<int32_t>(kLetters.size());
  const int32_t width = font->Width(kLetters);
  metrics.average_width = (width + letters / 2) / letters;
  return width >= 0 ? std::move(font) : nullptr;
}

CairoFont::~CairoFont() { Cairo::scaled_font_destroy(scaled_); }

int32_t CairoFont::Width(std::string_view text) const {
  const Glyphs run(scaled_, 0, 0, text);
  if (!run.valid) return -1;
  cairo_text_extents_t extents;
  Cairo::scaled_font_glyph_extents(scaled_, run.glyphs, run.glyph_count, &extents);
  if (Cairo::scaled_font_status(scaled_) != CAIRO_STATUS_SUCCESS) return -1;
  return std::max(Rounded(extents.x_advance), 0);
}

bool CairoFont::Show(cairo_t* cairo, double x, double y, std::string_view text) const {
  const Glyphs run(scaled_, x, y + metrics_.ascent, text);
  if (!run.valid) return false;
  cairo_matrix_t matrix;
  cairo_font_options_t* options = Cairo::font_options_create();
  Cairo::scaled_font_get_font_matrix(scaled_, &matrix);
  Cairo::scaled_font_get_font_options(scaled_, options);
  if (Cairo::surface_get_type(Cairo::get_target(cairo)) != CAIRO_SURFACE_TYPE_IMAGE) {
    Cairo::font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);  // there are no pixels
  }
  Cairo::set_font_face(cairo, Cairo::scaled_font_get_font_face(scaled_));
  Cairo::set_font_matrix(cairo, &matrix);
  Cairo::set_font_options(cairo, options);
  Cairo::font_options_destroy(options);
  Cairo::show_text_glyphs(cairo, run.utf8.data(), static_cast<int>(run.utf8.size()), run.glyphs,
                          run.glyph_count, run.clusters, run.cluster_count, run.flags);
  return true;
}

}  // namespace tervalon::platform
