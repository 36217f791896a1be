// The functions of Cairo, which is loaded when something is first drawn: with the libraries behind
// it, it takes longer than all else of a program's start.

#ifndef PLATFORM_LINUX_CAIRO_LIBRARY_H_
#define PLATFORM_LINUX_CAIRO_LIBRARY_H_

#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>

namespace tervalon::platform {

// Those that are called.
// clang-format off
#define TERVALON_CAIRO(USE) \
  USE(clip) USE(clip_extents) USE(create) USE(destroy) USE(fill) USE(font_face_destroy) \
  USE(font_options_create) USE(font_options_destroy) USE(font_options_set_antialias) \
  USE(font_options_set_hint_metrics) USE(font_options_set_hint_style) USE(get_source) \
  USE(get_target) USE(glyph_free) USE(image_surface_create) USE(image_surface_get_data) \
  USE(image_surface_get_stride) USE(line_to) USE(matrix_init_identity) USE(matrix_init_scale) \
  USE(move_to) USE(new_path) USE(pattern_set_filter) USE(pdf_surface_create_for_stream) \
  USE(rectangle) USE(reference) USE(reset_clip) USE(restore) USE(save) USE(scale) \
  USE(scaled_font_create) USE(scaled_font_destroy) USE(scaled_font_extents) \
  USE(scaled_font_get_font_face) USE(scaled_font_get_font_matrix) \
  USE(scaled_font_get_font_options) USE(scaled_font_glyph_extents) USE(scaled_font_status) \
  USE(scaled_font_text_to_glyphs) USE(set_antialias) USE(set_dash) USE(set_font_face) \
  USE(set_font_matrix) USE(set_font_options) USE(set_line_cap) USE(set_line_join) \
  USE(set_line_width) USE(set_source_rgb) USE(set_source_surface) USE(show_page) \
  USE(show_text_glyphs) USE(status) USE(stroke) USE(surface_destroy) USE(surface_finish) \
  USE(surface_flush) USE(surface_get_type) USE(surface_mark_dirty) USE(surface_status) \
  USE(surface_write_to_png_stream) USE(svg_surface_create_for_stream) USE(text_cluster_free) \
  USE(toy_font_face_create) USE(toy_font_face_get_family)
// clang-format on

// Named as Cairo has them. To be called once Load() has been true.
struct Cairo {
#define TERVALON_DECLARE(name) static inline decltype(&::cairo_##name) name = nullptr;
  TERVALON_CAIRO(TERVALON_DECLARE)
#undef TERVALON_DECLARE

  // False where there is no Cairo, or no memory for it now.
  static bool Load();
};

}  // namespace tervalon::platform

#endif  // PLATFORM_LINUX_CAIRO_LIBRARY_H_
