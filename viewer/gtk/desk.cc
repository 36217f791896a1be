#include "viewer/gtk/desk.h"

#include <algorithm>
#include <cmath>

#include "viewer/gtk/signals.h"

namespace tervalon::viewer {
namespace {

constexpr int kLeast = 160;  // pixels of a window's side
constexpr int kGrip = 14;    // of the corner that sizes it
constexpr int kBorder = 2;
constexpr int kStep = 28;  // from one window of a cascade to the next
constexpr int kSteps = 8;

GdkRectangle Allocation(GtkWidget* widget) {
  GdkRectangle size = {};
  gtk_widget_get_allocation(widget, &size);
  return size;
}

}  // namespace

struct Desk::Child {
  GtkWidget* content = nullptr;
  GtkWidget* outer = nullptr;
  GtkWidget* title = nullptr;
  GdkRectangle place = {0, 0, kLeast, kLeast};
  int number = 0;  // in the order that they came in
};

Desk::Desk(Listener listener)
    : listener_(std::move(listener)), room_(gtk_event_box_new()), overlay_(gtk_overlay_new()) {
  g_object_ref_sink(room_);
  gtk_widget_set_size_request(room_, 2 * kLeast, kLeast);
  gtk_container_add(GTK_CONTAINER(room_), overlay_);
  gtk_container_add(GTK_CONTAINER(overlay_), gtk_box_new(GTK_ORIENTATION_VERTICAL, 0));
  OnSignal<gboolean(GtkWidget*, GdkRectangle*)>(
      overlay_, "get-child-position", [this](GtkWidget* outer, GdkRectangle* place) -> gboolean {
        const auto found = std::ranges::find_if(
            children_, [&](const auto& child) { return child->outer == outer; });
        if (found == children_.end()) return FALSE;
        gtk_widget_get_preferred_size(outer, nullptr, nullptr);  // which has to be asked for
        *place = PlaceNow(**found);
        return TRUE;
      });
}

Desk::~Desk() {
  gtk_widget_destroy(room_);
  g_object_unref(room_);
}

Desk::Child* Desk::Find(GtkWidget* content) const {
  const auto found =
      std::ranges::find_if(children_, [&](const auto& child) { return child->content == content; });
  return found != children_.end() ? found->get() : nullptr;
}

GtkWidget* Desk::front() const { return children_.empty() ? nullptr : children_.back()->content; }

void Desk::Add(GtkWidget* content, const std::string& title) {
  auto made = std::make_unique<Child>();
  Child* const child = made.get();
  child->content = content;
  child->outer = gtk_event_box_new();
  gtk_style_context_add_class(gtk_widget_get_style_context(child->outer), GTK_STYLE_CLASS_FRAME);
  GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_container_set_border_width(GTK_CONTAINER(box), kBorder);
  GtkWidget* const bar = gtk_event_box_new();
  gtk_style_context_add_class(gtk_widget_get_style_context(bar), "titlebar");
  GtkWidget* const line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
  child->title = gtk_label_new(title.c_str());
  gtk_label_set_ellipsize(GTK_LABEL(child->title), PANGO_ELLIPSIZE_END);
  gtk_widget_set_margin_start(child->title, 6);
  gtk_label_set_xalign(GTK_LABEL(child->title), 0);
  GtkWidget* const close =
      gtk_button_new_from_icon_name("window-close-symbolic", GTK_ICON_SIZE_MENU);
  gtk_button_set_relief(GTK_BUTTON(close), GTK_RELIEF_NONE);
  gtk_widget_set_can_focus(close, FALSE);
  gtk_widget_set_tooltip_text(close, "Close (Ctrl+W)");
  gtk_box_pack_start(GTK_BOX(line), child->title, TRUE, TRUE, 0);
  gtk_box_pack_end(GTK_BOX(line), close, FALSE, FALSE, 0);
  gtk_container_add(GTK_CONTAINER(bar), line);
  gtk_box_pack_start(GTK_BOX(box), bar, FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), content, TRUE, TRUE, 0);
  gtk_container_add(GTK_CONTAINER(child->outer), box);

  constexpr auto kEvents =
      GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK | GDK_BUTTON1_MOTION_MASK;
  for (GtkWidget* const part : {bar, child->outer}) {
    gtk_widget_add_events(part, kEvents);
    const bool on_title = part == bar;
    OnSignal<gboolean(GdkEventButton*)>(
        part, "button-press-event",
        [=, this](GdkEventButton* event) -> gboolean { return Press(child, *event, on_title); });
    OnSignal<gboolean(GdkEventMotion*)>(
        part, "motion-notify-event",
        [this](GdkEventMotion* event) -> gboolean { return Drag(*event); });
    OnSignal<gboolean(GdkEventButton*)>(part, "button-release-event",
                                        [this](GdkEventButton*) -> gboolean {
                                          dragged_ = nullptr;
                                          return FALSE;
                                        });
  }
  OnSignal<void()>(close, "clicked", [=, this] { listener_.closed(child->content); });
  // Whatever brought the keyboard there.
  OnSignal<void(GtkWidget*)>(child->outer, "set-focus-child", [=, this](GtkWidget* focused) {
    if (focused != nullptr) Activate(child);
  });

  gtk_widget_show_all(child->outer);
  gtk_overlay_add_overlay(GTK_OVERLAY(overlay_), child->outer);
  child->number = ++added_;
  const int step = kStep * static_cast<int>(children_.size() % kSteps);
  child->place = {step, step, 3 * kLeast, 2 * kLeast};
  children_.push_back(std::move(made));
  Arrange();
}

void Desk::Remove(GtkWidget* content) {
  Child* const child = Find(content);
  if (child == nullptr) return;
  if (dragged_ == child) dragged_ = nullptr;
  GtkWidget* const outer = child->outer;
  std::erase_if(children_, [&](const auto& own) { return own.get() == child; });
  gtk_widget_destroy(outer);
  Arrange();
  if (!children_.empty()) Raise(children_.back()->content);
}

void Desk::SetTitle(GtkWidget* content, const std::string& title) {
  if (const Child* child = Find(content))
    gtk_label_set_text(GTK_LABEL(child->title), title.c_str());
}

GdkRectangle Desk::PlaceNow(const Child& child) const {
  const GdkRectangle room = Allocation(overlay_);
  const int count = static_cast<int>(children_.size());
  if (maximised_ && &child == children_.back().get()) return {0, 0, room.width, room.height};
  if (!tiled_) return child.place;
  // Wide windows, as plots are: rows one below another, the first with what is left over.
  const int columns = count <= 2 ? 1 : static_cast<int>(std::ceil(std::sqrt(count)));
  const int rows = (count + columns - 1) / columns;
  const int in_first = count - (rows - 1) * columns;
  const int number = static_cast<int>(std::ranges::count_if(
      children_, [&](const auto& other) { return other->number < child.number; }));
  const int row = number < in_first ? 0 : 1 + (number - in_first) / columns;
  const int column = number < in_first ? number : (number - in_first) % columns;
  const int in_row = row == 0 ? in_first : columns;
  // To the last pixel.
  const int left = column * room.width / in_row;
  const int top = row * room.height / rows;
  return {left, top, (column + 1) * room.width / in_row - left,
          (row + 1) * room.height / rows - top};
}

void Desk::Arrange() { gtk_widget_queue_resize(overlay_); }

void Desk::Tile() {
  tiled_ = true;
  maximised_ = false;
  Arrange();
}

void Desk::Cascade() {
  const GdkRectangle room = Allocation(overlay_);
  tiled_ = false;
  maximised_ = false;
  int step = 0;
  for (const auto& child : children_) {
    const int offset = kStep * (step++ % kSteps);
    child->place = {offset, offset, std::max(room.width - kSteps * kStep, kLeast),
                    std::max(room.height - kSteps * kStep, kLeast)};
  }
  Arrange();
}

void Desk::ToggleMaximised() {
  maximised_ = !maximised_;
  Arrange();
}

void Desk::Activate(Child* child) {
  if (children_.back().get() != child) {
    const auto place =
        std::ranges::find_if(children_, [&](const auto& own) { return own.get() == child; });
    std::rotate(place, place + 1, children_.end());
    gtk_overlay_reorder_overlay(GTK_OVERLAY(overlay_), child->outer, -1);
    if (maximised_) Arrange();
  }
  for (const auto& own : children_) {
    GtkStyleContext* const style = gtk_widget_get_style_context(own->title);
    if (own.get() == child) {
      gtk_style_context_remove_class(style, GTK_STYLE_CLASS_DIM_LABEL);
    } else {
      gtk_style_context_add_class(style, GTK_STYLE_CLASS_DIM_LABEL);
    }
  }
  listener_.activated(child->content);
}

void Desk::Raise(GtkWidget* content) {
  Child* const child = Find(content);
  if (child == nullptr) return;
  Activate(child);
  gtk_widget_child_focus(child->outer, GTK_DIR_TAB_FORWARD);
}

void Desk::RaiseNext() {
  if (!children_.empty()) Raise(children_.front()->content);
}

bool Desk::Press(Child* child, const GdkEventButton& event, bool on_title) {
  Activate(child);
  if (event.button != GDK_BUTTON_PRIMARY) return false;
  if (on_title && event.type == GDK_2BUTTON_PRESS) {
    ToggleMaximised();
    return true;
  }
  if (maximised_) return false;
  const GdkRectangle place = PlaceNow(*child);
  const bool on_grip = event.x > place.width - kGrip || event.y > place.height - kGrip;
  if (!on_title && !on_grip) return false;
  dragged_ = child;
  sizing_ = !on_title;
  drag_x_ = event.x_root;
  drag_y_ = event.y_root;
  return true;
}

void Desk::Free() {
  if (!tiled_) return;
  for (const auto& child : children_) child->place = PlaceNow(*child);
  tiled_ = false;
}

bool Desk::Drag(const GdkEventMotion& event) {
  if (dragged_ == nullptr) return false;
  const int x = static_cast<int>(event.x_root - drag_x_);
  const int y = static_cast<int>(event.y_root - drag_y_);
  if (x == 0 && y == 0) return true;
  Free();
  GdkRectangle& place = dragged_->place;
  if (sizing_) {
    place.width = std::max(place.width + x, kLeast);
    place.height = std::max(place.height + y, kLeast);
  } else {
    place.x = std::max(place.x + x, 0);
    place.y = std::max(place.y + y, 0);
  }
  drag_x_ = event.x_root;
  drag_y_ = event.y_root;
  Arrange();
  return true;
}

IniWindPos Desk::PlaceOf(GtkWidget* content) const {
  const Child* const child = Find(content);
  if (child == nullptr) return {};
  IniWindPos place = {1, TV_PLACEMENT_NORMAL, 0, 0, 0, 0};
  if (maximised_ && content == front()) place.show_state = TV_PLACEMENT_MAXIMIZED;
  if (tiled_) return place;
  place.left = child->place.x;
  place.top = child->place.y;
  place.right = child->place.x + child->place.width;
  place.bottom = child->place.y + child->place.height;
  return place;
}

void Desk::SetPlace(GtkWidget* content, const IniWindPos& place) {
  Child* const child = Find(content);
  if (child == nullptr) return;
  if (place.right > place.left) {
    tiled_ = false;
    child->place = {std::max(place.left, 0), std::max(place.top, 0),
                    std::max(place.right - place.left, kLeast),
                    std::max(place.bottom - place.top, kLeast)};
  }
  maximised_ |= place.show_state == TV_PLACEMENT_MAXIMIZED;
  Arrange();
}

}  // namespace tervalon::viewer
