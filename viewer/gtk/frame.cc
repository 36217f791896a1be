#include "viewer/gtk/frame.h"

#include <tervalon/desktop.h>
#include <tervalon/messages.h>
#include <tervalon/settings.h>
#include <tervalon/window_placement.h>

#include <algorithm>
#include <cstring>
#include <map>

#include "tools/print/document.h"
#include "viewer/gtk/printing.h"
#include "viewer/gtk/signals.h"
#include "viewer/gtk/table_area.h"

namespace tervalon::viewer {
namespace {

constexpr const char* kName = "Tervalon View";
constexpr const char* kSection = "Viewer";
constexpr const char* kFrontKey = "Front";
constexpr int kWidth = 1100;
constexpr int kHeight = 750;
constexpr int kSecond = 1000;  // between looks at what becomes of the runs
constexpr uint16_t kComplaint = 1;

// Every write is forced to the disk: only what is new.
void SavePlace(const std::string& key, const IniWindPos& place) {
  IniWindPos before = {};
  const bool known = GetIniWindPos(kSection, key.c_str(), nullptr, &before) != 0;
  if (known && std::memcmp(&before, &place, sizeof place) == 0) return;
  SetIniWindPos(kSection, key.c_str(), &place, 0);
}

std::string PlaceKey(size_t number) { return "Place" + std::to_string(number + 1); }

std::optional<std::string> RunDialog(GtkFileChooserNative* dialog) {
  std::optional<std::string> path;
  if (gtk_native_dialog_run(GTK_NATIVE_DIALOG(dialog)) == GTK_RESPONSE_ACCEPT) {
    char* const name = gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(dialog));
    if (name != nullptr) path = name;
    g_free(name);
  }
  g_object_unref(dialog);
  return path;
}

// The buttons of a box, by the library's numbers.
constexpr int kOk = 1;
constexpr int kCancel = 2;
constexpr int kNo = 7;
struct Answer {
  uint32_t buttons;
  int number;
  const char* text;
};
constexpr Answer kAnswers[] = {
    {0, kOk, "_OK"},   {1, kCancel, "_Cancel"}, {1, kOk, "_OK"}, {2, 3, "_Abort"}, {2, 4, "_Retry"},
    {2, 5, "_Ignore"}, {3, kCancel, "_Cancel"}, {3, kNo, "_No"}, {3, 6, "_Yes"},   {4, kNo, "_No"},
    {4, 6, "_Yes"},    {5, kCancel, "_Cancel"}, {5, 4, "_Retry"}};

// The library's message boxes are this program's.
int32_t TERVALON_CALL ShowMessage(void* frame, const char* text, const char* caption,
                                  uint32_t style, TvWindow) {
  constexpr uint32_t kIcons = 0x70;
  constexpr uint32_t kButtons = 0x0F;
  constexpr std::pair<uint32_t, GtkMessageType> kIconTypes[] = {{0x10, GTK_MESSAGE_ERROR},
                                                                {0x20, GTK_MESSAGE_QUESTION},
                                                                {0x30, GTK_MESSAGE_WARNING},
                                                                {0x40, GTK_MESSAGE_INFO}};
  const auto* const icon =
      std::ranges::find(kIconTypes, style & kIcons, &std::pair<uint32_t, GtkMessageType>::first);
  const GtkMessageType type = icon != std::end(kIconTypes) ? icon->second : GTK_MESSAGE_OTHER;
  GtkWidget* const dialog = gtk_message_dialog_new(GTK_WINDOW(frame), GTK_DIALOG_MODAL, type,
                                                   GTK_BUTTONS_NONE, "%s", text);
  for (const Answer& answer : kAnswers) {
    if (answer.buttons == (style & kButtons)) {
      gtk_dialog_add_button(GTK_DIALOG(dialog), answer.text, answer.number);
    }
  }
  gtk_window_set_title(GTK_WINDOW(dialog), caption != nullptr ? caption : kName);
  const int answer = gtk_dialog_run(GTK_DIALOG(dialog));
  gtk_widget_destroy(dialog);
  if (answer > 0) return answer;
  return (style & kButtons) == 0 ? kOk : (style & kButtons) == 4 ? kNo : kCancel;  // by Escape
}

// The program's strings.
const char* TERVALON_CALL StringOf(void*, TvInstance, uint16_t number) {
  return number == kComplaint ? "STOP,%s" : nullptr;
}

// The library asks for a project, which is a directory.
int32_t TERVALON_CALL ChooseFile(void* frame, const char* title, char* path, uint32_t size) {
  const std::optional<std::string> chosen =
      static_cast<Frame*>(frame)->AskForFolder(title, "_Select");
  if (!chosen || chosen->size() >= size) return 0;
  std::strcpy(path, chosen->c_str());
  return 1;
}

}  // namespace

Frame::Frame(GtkApplication* application)
    : window_(gtk_application_window_new(application)),
      desk_({[this](GtkWidget* content) {
               if (const Window* window = FindContent(content))
                 workspace_.Activate(window->document);
             },
             [this](GtkWidget* content) {
               if (const Window* window = FindContent(content)) workspace_.Close(*window->document);
             }}),
      workspace_(this) {
  gtk_window_set_title(GTK_WINDOW(window_), kName);
  gtk_window_set_icon_name(GTK_WINDOW(window_), "tervalon-view");
  gtk_window_set_default_size(GTK_WINDOW(window_), kWidth, kHeight);
  TvSetMessageHandler(ShowMessage, window_);
  TvSetFileChooser(ChooseFile, this);
  TvSetStringProvider(StringOf, nullptr);
  workspace_.Load();

  GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_box_pack_start(GTK_BOX(box), MakeMenus(), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), desk_.widget(), TRUE, TRUE, 0);
  status_ = gtk_label_new("");
  gtk_label_set_xalign(GTK_LABEL(status_), 0);
  gtk_label_set_ellipsize(GTK_LABEL(status_), PANGO_ELLIPSIZE_END);
  gtk_widget_set_margin_start(status_, 6);
  gtk_box_pack_end(GTK_BOX(box), status_, FALSE, FALSE, 2);
  gtk_container_add(GTK_CONTAINER(window_), box);

  OnSignal<gboolean(GdkEventKey*)>(
      window_, "key-press-event", [this](GdkEventKey* event) -> gboolean { return Press(*event); });
  OnSignal<gboolean(GdkEvent*)>(window_, "delete-event", [this](GdkEvent*) -> gboolean {
    Quit();
    return TRUE;
  });
  AcceptDrops();
  clock_ = g_timeout_add(
      kSecond,
      [](gpointer frame) -> gboolean {
        static_cast<Frame*>(frame)->workspace_.Follow();
        return G_SOURCE_CONTINUE;
      },
      this);
  Frame::RefreshCommands();
}

Frame::~Frame() {
  TvSetMessageHandler(nullptr, nullptr);
  TvSetFileChooser(nullptr, nullptr);
  TvSetStringProvider(nullptr, nullptr);
  g_source_remove(clock_);
  if (idle_ != 0) g_source_remove(idle_);
}

void Frame::Present() {
  gtk_widget_show_all(window_);
  gtk_window_present(GTK_WINDOW(window_));
}

// --- Menus and keys

GtkWidget* Frame::MakeMenus() {
  GtkWidget* const bar = gtk_menu_bar_new();
  GtkAccelGroup* const keys = gtk_accel_group_new();
  gtk_window_add_accel_group(GTK_WINDOW(window_), keys);
  std::map<std::string, GtkWidget*> menus;
  for (const Command& command : Commands()) {
    GtkWidget*& menu = menus[command.menu];
    if (menu == nullptr) {
      menu = gtk_menu_new();
      GtkWidget* const item = gtk_menu_item_new_with_mnemonic(command.menu);
      gtk_menu_item_set_submenu(GTK_MENU_ITEM(item), menu);
      gtk_menu_shell_append(GTK_MENU_SHELL(bar), item);
    }
    MakeItem(command, menu, keys);
  }
  return bar;
}

void Frame::MakeItem(const Command& command, GtkWidget* menu, GtkAccelGroup* keys) {
  if (command.run == nullptr) {
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), gtk_separator_menu_item_new());
    return;
  }
  GtkWidget* const item = command.is_on != nullptr
                              ? gtk_check_menu_item_new_with_mnemonic(command.text)
                              : gtk_menu_item_new_with_mnemonic(command.text);
  const gulong handler = OnSignal<void()>(
      item, "activate", [this, chosen = &command] { RunCommand(*chosen, workspace_); });
  // Keys without Ctrl are the plots' own: a text field needs them, too.
  std::string key = command.key;
  for (const auto& [name, modifier] : {std::pair("Ctrl+", "<Primary>"), {"Shift+", "<Shift>"}}) {
    if (const size_t place = key.find(name); place != std::string::npos) {
      key.replace(place, std::strlen(name), modifier);
    }
  }
  guint value = 0;
  GdkModifierType modifiers = {};
  gtk_accelerator_parse(key.c_str(), &value, &modifiers);
  if (value != 0) {
    gtk_widget_add_accelerator(item, "activate", keys, value, modifiers, GTK_ACCEL_VISIBLE);
  }
  gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
  items_.push_back({&command, item, handler, value, modifiers});
}

// What no menu takes: arrows, which would move the focus, and other keys that mean the same.
bool Frame::Press(const GdkEventKey& event) {
  constexpr std::pair<guint, guint> kSame[] = {{GDK_KEY_equal, GDK_KEY_plus},
                                               {GDK_KEY_KP_Add, GDK_KEY_plus},
                                               {GDK_KEY_KP_Subtract, GDK_KEY_minus}};
  const auto* const same = std::ranges::find(kSame, event.keyval, &std::pair<guint, guint>::first);
  const guint key = same != std::end(kSame) ? same->second : event.keyval;
  const guint held = event.state & gtk_accelerator_get_default_mod_mask();
  for (const Item& item : items_) {
    if (item.key != key || item.key == 0 || static_cast<guint>(item.held) != held) continue;
    if (same != std::end(kSame) || gtk_accelerator_valid(item.key, item.held) == FALSE) {
      return RunCommand(*item.command, workspace_);
    }
  }
  return false;
}

void Frame::RefreshCommands() {
  for (const Item& item : items_) {
    const Command& command = *item.command;
    const bool can = command.can == nullptr || command.can(workspace_);
    gtk_widget_set_sensitive(item.widget, can);
    const std::string_view id = command.id;
    if (id.starts_with("recent-")) {
      const auto number = static_cast<size_t>(id.back() - '1');
      const std::string path = can ? workspace_.recent()[number] : "";
      gtk_menu_item_set_label(GTK_MENU_ITEM(item.widget),
                              ("_" + std::to_string(number + 1) + " " + path).c_str());
      gtk_widget_set_visible(item.widget, can);
    }
    if (command.is_on == nullptr) continue;
    g_signal_handler_block(item.widget, item.handler);
    gtk_check_menu_item_set_active(GTK_CHECK_MENU_ITEM(item.widget), command.is_on(workspace_));
    g_signal_handler_unblock(item.widget, item.handler);
  }
}

void Frame::AcceptDrops() {
  gtk_drag_dest_set(window_, GTK_DEST_DEFAULT_ALL, nullptr, 0, GDK_ACTION_COPY);
  gtk_drag_dest_add_uri_targets(window_);
  OnSignal<void(GdkDragContext*, int, int, GtkSelectionData*, guint, guint)>(
      window_, "drag-data-received",
      [this](GdkDragContext*, int, int, GtkSelectionData* data, guint, guint) {
        char** const uris = gtk_selection_data_get_uris(data);
        for (char** uri = uris; uri != nullptr && *uri != nullptr; ++uri) {
          char* const path = g_filename_from_uri(*uri, nullptr, nullptr);
          if (path != nullptr) workspace_.Open(path);
          g_free(path);
        }
        g_strfreev(uris);
      });
}

// --- Documents

Frame::Window* Frame::Find(const Document& document) {
  const auto found = std::ranges::find(windows_, &document, &Window::document);
  return found != windows_.end() ? &*found : nullptr;
}

Frame::Window* Frame::FindContent(GtkWidget* content) {
  const auto found = std::ranges::find(windows_, content, &Window::content);
  return found != windows_.end() ? &*found : nullptr;
}

void Frame::Fill(Window& window) {
  if (window.document->chart() != nullptr) {
    window.plot = std::make_unique<PlotArea>(&workspace_, window.document);
    gtk_box_pack_start(GTK_BOX(window.content), window.plot->widget(), TRUE, TRUE, 0);
  } else {
    GtkWidget* const table = MakeTableArea(*static_cast<TableDocument*>(window.document));
    gtk_box_pack_start(GTK_BOX(window.content), table, TRUE, TRUE, 0);
  }
  gtk_widget_show_all(window.content);
}

void Frame::Add(Document& document) {
  windows_.push_back({&document, gtk_box_new(GTK_ORIENTATION_VERTICAL, 0), nullptr});
  Fill(windows_.back());
  GtkWidget* const content = windows_.back().content;
  desk_.Add(content, document.Title());
  desk_.Raise(content);
}

void Frame::Remove(Document& document) {
  Window* const window = Find(document);
  if (window == nullptr) return;
  GtkWidget* const content = window->content;
  const Window kept = std::move(*window);
  std::erase_if(windows_, [&](const Window& own) { return own.document == &document; });
  desk_.Remove(content);
}

void Frame::Raise(Document& document) {
  if (const Window* window = Find(document)) desk_.Raise(window->content);
}

void Frame::Arrange(Arrangement arrangement) {
  switch (arrangement) {
    case Arrangement::kNext:
      return desk_.RaiseNext();
    case Arrangement::kTiled:
      return desk_.Tile();
    case Arrangement::kCascaded:
      return desk_.Cascade();
    case Arrangement::kMaximised:
      return desk_.ToggleMaximised();
  }
}

void Frame::Refresh(Document& document) {
  Window* const window = Find(document);
  if (window == nullptr) return;
  desk_.SetTitle(window->content, document.Title());
  if (window->plot != nullptr) {
    window->plot->Redraw();
    return;
  }
  gtk_container_foreach(
      GTK_CONTAINER(window->content), [](GtkWidget* child, gpointer) { gtk_widget_destroy(child); },
      nullptr);
  Fill(*window);
}

void Frame::Redraw(Document& document) {
  const Window* const window = Find(document);
  if (window != nullptr && window->plot != nullptr) window->plot->Redraw();
}

void Frame::Status(const std::string& text) {
  gtk_label_set_text(GTK_LABEL(status_), text.c_str());
}

void Frame::WantIdle() {
  if (idle_ != 0) return;
  idle_ = g_idle_add(
      [](gpointer data) -> gboolean {
        auto* const frame = static_cast<Frame*>(data);
        if (frame->workspace_.Idle()) return G_SOURCE_CONTINUE;
        frame->idle_ = 0;
        return G_SOURCE_REMOVE;
      },
      this);
}

// --- Dialogs

std::optional<std::string> Frame::AskForRun(const std::string& /*folder*/) {
  return AskForFolder("Open a run", "_Open");
}

std::optional<std::string> Frame::AskForFolder(const char* title, const char* verb) {
  GtkFileChooserNative* const dialog = gtk_file_chooser_native_new(
      title, GTK_WINDOW(window_), GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER, verb, "_Cancel");
  const std::string folder = workspace_.Folder();
  if (!folder.empty()) {
    gtk_file_chooser_set_current_folder(GTK_FILE_CHOOSER(dialog), folder.c_str());
  }
  return RunDialog(dialog);
}

std::optional<std::string> Frame::AskForFile(const std::string& title, const std::string& name) {
  GtkFileChooserNative* const dialog = gtk_file_chooser_native_new(
      title.c_str(), GTK_WINDOW(window_), GTK_FILE_CHOOSER_ACTION_SAVE, "_Save", "_Cancel");
  gtk_file_chooser_set_do_overwrite_confirmation(GTK_FILE_CHOOSER(dialog), TRUE);
  gtk_file_chooser_set_current_name(GTK_FILE_CHOOSER(dialog), name.c_str());
  return RunDialog(dialog);
}

std::optional<std::string> Frame::AskForText(const std::string& title, const std::string& label,
                                             const std::string& text) {
  GtkWidget* const dialog =
      gtk_dialog_new_with_buttons(title.c_str(), GTK_WINDOW(window_), GTK_DIALOG_MODAL, "_Cancel",
                                  GTK_RESPONSE_CANCEL, "_OK", GTK_RESPONSE_OK, nullptr);
  gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
  GtkWidget* const box = gtk_dialog_get_content_area(GTK_DIALOG(dialog));
  gtk_container_set_border_width(GTK_CONTAINER(box), 12);
  gtk_box_set_spacing(GTK_BOX(box), 6);
  GtkWidget* const entry = gtk_entry_new();
  gtk_entry_set_text(GTK_ENTRY(entry), text.c_str());
  gtk_entry_set_activates_default(GTK_ENTRY(entry), TRUE);
  GtkWidget* const name = gtk_label_new(label.c_str());
  gtk_label_set_mnemonic_widget(GTK_LABEL(name), entry);
  gtk_container_add(GTK_CONTAINER(box), name);
  gtk_container_add(GTK_CONTAINER(box), entry);
  gtk_widget_show_all(dialog);
  std::optional<std::string> answer;
  if (gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_OK) {
    answer = gtk_entry_get_text(GTK_ENTRY(entry));
  }
  gtk_widget_destroy(dialog);
  return answer;
}

void Frame::Complain(const std::string& text) {
  MsgReportMsg(reinterpret_cast<TvInstance>(window_), kComplaint, kName, text.c_str());
}

void Frame::Copy(Document& document) {
  GtkClipboard* const clipboard = gtk_clipboard_get(GDK_SELECTION_CLIPBOARD);
  const Window* const window = Find(document);
  if (window != nullptr && window->plot != nullptr) {
    if (GdkPixbuf* const pixels = window->plot->Pixels(); pixels != nullptr) {
      gtk_clipboard_set_image(clipboard, pixels);
      g_object_unref(pixels);
    }
    return;
  }
  tools::Document table = {.sections = {document.Table()}};
  std::string text;
  tools::Output output(text);
  tools::PrintText(table, output);
  output.Flush();
  gtk_clipboard_set_text(clipboard, text.c_str(), static_cast<int>(text.size()));
}

void Frame::Print(Document& document, bool preview) {
  const std::string failure = PrintDocument(document, GTK_WINDOW(window_), preview);
  if (!failure.empty()) Complain(failure);
}

// --- Places

void Frame::Restore() {
  IniWindPos place = {};
  if (GetIniWindPos(kSection, "Frame", nullptr, &place) == 0) return;
  if (place.right > place.left && place.bottom > place.top) {
    GdkRectangle room = {};  // the desktop may be another one than before
    gdk_monitor_get_workarea(
        gdk_display_get_monitor_at_point(gtk_widget_get_display(window_), place.left, place.top),
        &room);
    const int width = std::min(place.right - place.left, room.width);
    const int height = std::min(place.bottom - place.top, room.height);
    gtk_window_move(GTK_WINDOW(window_),
                    std::clamp(place.left, room.x, room.x + room.width - width),
                    std::clamp(place.top, room.y, room.y + room.height - height));
    gtk_window_resize(GTK_WINDOW(window_), width, height);
  }
  if (place.show_state == TV_PLACEMENT_MAXIMIZED) gtk_window_maximize(GTK_WINDOW(window_));
  workspace_.RestoreDocuments();
  char front[32] = "";
  GetIniString(kSection, kFrontKey, "", front, sizeof front);
  for (const Window& window : windows_) {
    if (!window.document->restored()) continue;
    const std::string key = PlaceKey(*window.document->restored());
    if (GetIniWindPos(kSection, key.c_str(), nullptr, &place) == 0) continue;
    desk_.SetPlace(window.content, place);
    if (key == front) desk_.Raise(window.content);
  }
}

void Frame::SavePlaces() {
  workspace_.Save();
  IniWindPos frame = {1, TV_PLACEMENT_NORMAL, 0, 0, 0, 0};
  if (gtk_window_is_maximized(GTK_WINDOW(window_))) frame.show_state = TV_PLACEMENT_MAXIMIZED;
  gtk_window_get_position(GTK_WINDOW(window_), &frame.left, &frame.top);
  int width = 0;
  int height = 0;
  gtk_window_get_size(GTK_WINDOW(window_), &width, &height);
  frame.right = frame.left + width;
  frame.bottom = frame.top + height;
  SavePlace("Frame", frame);
  std::string front;
  for (size_t i = 0; i < windows_.size(); ++i) {
    const std::string key = PlaceKey(i);
    const IniWindPos place = desk_.PlaceOf(windows_[i].content);
    SavePlace(key, place);
    if (windows_[i].content == desk_.front()) front = key;
  }
  char before[32] = "";
  GetIniString(kSection, kFrontKey, "", before, sizeof before);
  if (front != before) SetIniString(kSection, kFrontKey, front.c_str(), 0);
}

void Frame::Quit() {
  SavePlaces();
  gtk_widget_hide(window_);
  workspace_.Stop();
  items_.clear();  // whose widgets go
  gtk_widget_destroy(window_);
}

}  // namespace tervalon::viewer
