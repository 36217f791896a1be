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

Desk::Desk(Listener listener) : listener_(std::move(listener)), fixed_(gtk_fixed_new()) {
  g_object_ref_sink(fixed_);
  gtk_widget_set_hexpand(fixed_, TRUE);
  gtk_widget_set_vexpand(fixed_, TRUE);
  gtk_widget_set_size_request(fixed_, 2 * kLeast, kLeast);
  OnSignal<void(GdkRectangle*)>(fixed_, "size-allocate", [this](GdkRectangle*) {
    if (tiled_ || maximised_) Arrange();
  });
}

Desk::~Desk() {
  g_signal_handlers_disconnect_matched(fixed_, G_SIGNAL_MATCH_ID, 0, 0, nullptr, nullptr, nullptr);
  g_object_unref(fixed_);
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
  gtk_fixed_put(GTK_FIXED(fixed_), child->outer, 0, 0);
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

void Desk::Put(const Child& child) const {
  gtk_fixed_move(GTK_FIXED(fixed_), child.outer, child.place.x, child.place.y);
  gtk_widget_set_size_request(child.outer, child.place.width, child.place.height);
}

void Desk::Arrange() {
  const GdkRectangle room = Allocation(fixed_);
  const int count = static_cast<int>(children_.size());
  if (count == 0 || room.width <= 1) return;
  if (maximised_) {
    const Child& front = *children_.back();
    gtk_fixed_move(GTK_FIXED(fixed_), front.outer, 0, 0);
    gtk_widget_set_size_request(front.outer, room.width, room.height);
    return;
  }
  if (tiled_) {
    // Wide windows, as plots are: rows one below another, the first with what is left over.
    const int columns = count <= 2 ? 1 : static_cast<int>(std::ceil(std::sqrt(count)));
    const int rows = (count + columns - 1) / columns;
    const int in_first = count - (rows - 1) * columns;
    std::vector<Child*> in_order;
    for (const auto& child : children_) in_order.push_back(child.get());
    std::ranges::sort(in_order, {}, [](const Child* child) { return child->number; });
    for (int i = 0; i < count; ++i) {
      const int row = i < in_first ? 0 : 1 + (i - in_first) / columns;
      const int column = i < in_first ? i : (i - in_first) % columns;
      const int width = room.width / (row == 0 ? in_first : columns);
      const int height = room.height / rows;
      in_order[static_cast<size_t>(i)]->place = {column * width, row * height, width, height};
    }
  }
  for (const auto& child : children_) Put(*child);
}

void Desk::Tile() {
  tiled_ = true;
  maximised_ = false;
  Arrange();
}

void Desk::Cascade() {
  const GdkRectangle room = Allocation(fixed_);
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
    // The front one is drawn last.
    GdkWindow* const window = gtk_widget_get_window(child->outer);
    if (window != nullptr) gdk_window_raise(window);
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
  const bool on_grip =
      event.x > child->place.width - kGrip || event.y > child->place.height - kGrip;
  if (!on_title && !on_grip) return false;
  dragged_ = child;
  sizing_ = !on_title;
  drag_x_ = event.x_root;
  drag_y_ = event.y_root;
  return true;
}

bool Desk::Drag(const GdkEventMotion& event) {
  if (dragged_ == nullptr) return false;
  const int x = static_cast<int>(event.x_root - drag_x_);
  const int y = static_cast<int>(event.y_root - drag_y_);
  if (x == 0 && y == 0) return true;
  tiled_ = false;
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
  Put(*dragged_);
  return true;
}

IniWindPos Desk::PlaceOf(GtkWidget* content) const {
  const Child* const child = Find(content);
  if (child == nullptr) return {};
  const bool large = maximised_ && child == children_.back().get();
  return {1,
          large ? TV_PLACEMENT_MAXIMIZED : TV_PLACEMENT_NORMAL,
          child->place.x,
          child->place.y,
          child->place.x + child->place.width,
          child->place.y + child->place.height};
}

void Desk::SetPlace(GtkWidget* content, const IniWindPos& place) {
  Child* const child = Find(content);
  if (child == nullptr) return;
  tiled_ = false;
  child->place = {std::max(place.left, 0), std::max(place.top, 0),
                  std::max(place.right - place.left, kLeast),
                  std::max(place.bottom - place.top, kLeast)};
  if (place.show_state == TV_PLACEMENT_MAXIMIZED) maximised_ = true;
  Arrange();
}

}  // namespace tervalon::viewer
