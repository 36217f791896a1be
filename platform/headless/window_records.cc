#include "platform/headless/window_records.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/text.h"

namespace tervalon::platform {
namespace {

constexpr int32_t kBorder = 4;
constexpr int32_t kCaptionHeight = 18;
constexpr TvSize kIcon = {160, 24};
constexpr int32_t kPlaceItself = std::numeric_limits<int32_t>::min();

std::string LowerCaseText(std::string text) {
  for (char& c : text) c = LowerCase(c);
  return text;
}

TvRect Moved(const TvRect& rect, TvPoint by) {
  return {rect.left + by.x, rect.top + by.y, rect.right + by.x, rect.bottom + by.y};
}

TvWindow WindowOf(uintptr_t value) { return reinterpret_cast<TvWindow>(value); }

}  // namespace

WindowRecords::Record* WindowRecords::Find(TvWindow window) {
  const auto found = records_.find(window);
  return found != records_.end() ? &found->second : nullptr;
}

TvWindow WindowRecords::Create(const WindowSpec& spec) {
  const Held held(&lock_);
  return Add(spec);
}

TvWindow WindowRecords::Add(const WindowSpec& spec) {
  Record* parent = Find(spec.parent);
  if (spec.parent != nullptr && parent == nullptr) return nullptr;
  last_handle_ += 4;
  const TvWindow window = WindowOf(last_handle_);
  Record record;
  record.spec = spec;
  record.visible = (spec.style & kStyleVisible) != 0;
  if (spec.style & kStyleMinimized) {
    record.state = State::kMinimized;
  } else if (spec.style & kStyleMaximized) {
    record.state = State::kMaximized;
  }
  records_.emplace(window, std::move(record));
  if (parent != nullptr) parent->children.insert(parent->children.begin(), window);
  return window;
}

bool WindowRecords::SetHandler(TvWindow window, WindowHandler handler) {
  const Held held(&lock_);
  Record* record = Find(window);
  if (record != nullptr) record->handler = std::move(handler);
  return record != nullptr;
}

bool WindowRecords::IsWindow(TvWindow window) {
  const Held held(&lock_);
  return Find(window) != nullptr;
}

bool WindowRecords::IsVisible(TvWindow window) {
  const Held held(&lock_);
  for (const Record* record = Find(window); record != nullptr; record = Find(record->spec.parent)) {
    if (!record->visible) return false;
    if (record->spec.parent == nullptr) return true;
  }
  return false;
}

bool WindowRecords::IsIn(TvWindow window, State state) {
  const Record* record = Find(window);
  return record != nullptr && record->state == state;
}

bool WindowRecords::IsMinimized(TvWindow window) {
  const Held held(&lock_);
  return IsIn(window, State::kMinimized);
}

bool WindowRecords::IsMaximized(TvWindow window) {
  const Held held(&lock_);
  return IsIn(window, State::kMaximized);
}

TvWindow WindowRecords::Parent(TvWindow window) {
  const Held held(&lock_);
  const Record* record = Find(window);
  return record != nullptr ? record->spec.parent : nullptr;
}

TvInstance WindowRecords::Instance(TvWindow window) {
  const Held held(&lock_);
  const Record* record = Find(window);
  return record != nullptr ? record->spec.instance : nullptr;
}

std::string WindowRecords::ClassName(TvWindow window, uint32_t longest) {
  const Held held(&lock_);
  const Record* record = Find(window);
  return record != nullptr ? record->spec.window_class.substr(0, longest) : "";
}

TvRect WindowRecords::ScreenRect(const Record& record) {
  const Record* parent = Find(record.spec.parent);
  const TvRect around = parent != nullptr ? ClientRect(*parent) : kScreen;
  if (record.state == State::kMaximized) return around;
  const TvRect rect = Moved(record.spec.rect, {around.left, around.top});
  if (record.state == State::kNormal) return rect;
  return {around.left, around.bottom - kIcon.height, around.left + kIcon.width, around.bottom};
}

TvRect WindowRecords::ClientRect(const Record& record) {
  const bool has_caption = (record.spec.style & kStyleCaption) == kStyleCaption;
  const TvRect rect = ScreenRect(record);
  return {rect.left + kBorder, rect.top + kBorder + (has_caption ? kCaptionHeight : 0),
          rect.right - kBorder, rect.bottom - kBorder};
}

TvRect WindowRecords::Rect(TvWindow window) {
  const Held held(&lock_);
  const Record* record = Find(window);
  return record != nullptr ? ScreenRect(*record) : TvRect{};
}

TvPoint WindowRecords::ClientOrigin(TvWindow window) {
  const Held held(&lock_);
  const Record* record = Find(window);
  if (record == nullptr) return {};
  const TvRect client = ClientRect(*record);
  return {client.left, client.top};
}

void WindowRecords::SetState(Record* record, State state) {
  if (state == State::kMinimized && record->state != State::kMinimized) {
    record->maximized_before = record->state == State::kMaximized;
  }
  record->state = state;
}

bool WindowRecords::Show(TvWindow window, ShowCommand command) {
  const Held held(&lock_);
  Record* record = Find(window);
  if (record != nullptr) ShowRecord(record, command);
  return record != nullptr;
}

void WindowRecords::ShowRecord(Record* record, ShowCommand command) {
  record->visible = command != kHide;
  switch (command) {
    case kHide:
    case kShowAsItIs:
      break;
    case kShowNormal:
      SetState(record, State::kNormal);
      break;
    case kShowMinimized:
      SetState(record, State::kMinimized);
      break;
    case kShowMaximized:
      SetState(record, State::kMaximized);
      break;
    case kRestore:
      SetState(record, record->state == State::kMinimized && record->maximized_before
                           ? State::kMaximized
                           : State::kNormal);
      break;
  }
}

bool WindowRecords::Move(TvWindow window, const TvRect& rect, bool /*repaint*/) {
  const Held held(&lock_);
  Record* record = Find(window);
  if (record != nullptr) record->spec.rect = rect;
  return record != nullptr;
}

bool WindowRecords::Destroy(TvWindow window) {
  const Held held(&lock_);
  return Remove(window);
}

bool WindowRecords::Remove(TvWindow window) {
  Record* record = Find(window);
  if (record == nullptr) return false;
  const std::vector<TvWindow> children = record->children;
  for (const TvWindow child : children) Remove(child);
  if (Record* parent = Find(record->spec.parent)) std::erase(parent->children, window);
  records_.erase(window);
  return true;
}

intptr_t WindowRecords::Send(TvWindow window, uint32_t message, uintptr_t first, intptr_t second) {
  WindowHandler handler;  // a copy: it may destroy its window
  {
    const Held held(&lock_);
    Record* record = Find(window);
    if (record == nullptr) return 0;
    if (IsDocumentArea(*record) && message >= kDocumentCreateMessage &&
        message <= kDocumentActiveMessage) {
      return HandleDocumentMessage(window, message, first, second);
    }
    if (message == kSystemCommandMessage) {
      // The low four bits are the platform's own.
      const uintptr_t command = first & 0xFFF0;
      if (command == kSystemMinimize) ShowRecord(record, kShowMinimized);
      if (command == kSystemMaximize) ShowRecord(record, kShowMaximized);
      if (command == kSystemRestore) ShowRecord(record, kRestore);
      return 0;
    }
    handler = record->handler;
    if (!handler && message == kCloseMessage) Remove(window);
  }
  return handler ? handler(window, message, first, second) : 0;
}

bool WindowRecords::Post(TvWindow window, uint32_t message, uintptr_t first, intptr_t second) {
  if (!IsWindow(window)) return false;
  Send(window, message, first, second);
  return true;
}

bool WindowRecords::SetProperty(TvWindow window, const char* name, uintptr_t value) {
  const Held held(&lock_);
  Record* record = Find(window);
  if (record == nullptr || name == nullptr) return false;
  if (value != 0) {
    record->properties[LowerCaseText(name)] = value;
  } else {
    record->properties.erase(LowerCaseText(name));
  }
  return true;
}

uintptr_t WindowRecords::Property(TvWindow window, const char* name) {
  const Held held(&lock_);
  const Record* record = Find(window);
  if (record == nullptr || name == nullptr) return 0;
  const auto found = record->properties.find(LowerCaseText(name));
  return found != record->properties.end() ? found->second : 0;
}

bool WindowRecords::IsDocumentArea(const Record& record) const {
  return EqualWithoutCase(record.spec.window_class, kDocumentAreaClass);
}

intptr_t WindowRecords::HandleDocumentMessage(TvWindow area, uint32_t message, uintptr_t first,
                                              intptr_t second) {
  const std::vector<TvWindow>& documents = Find(area)->children;
  const TvWindow active = documents.empty() ? nullptr : documents.front();
  const TvWindow document = WindowOf(first);
  switch (message) {
    case kDocumentCreateMessage: {
      const auto* create = reinterpret_cast<const TvDocumentCreate*>(second);
      return create != nullptr ? reinterpret_cast<intptr_t>(CreateDocumentRecord(area, *create))
                               : 0;
    }
    case kDocumentActiveMessage:
      return reinterpret_cast<intptr_t>(active);
    case kDocumentNextMessage:
      ActivateNext(area, document != nullptr ? document : active, second != 0);
      return 0;
    default:
      break;
  }
  Record* const record = Find(document);
  if (record == nullptr || record->spec.parent != area) return 0;
  switch (message) {
    case kDocumentDestroyMessage:
      Remove(document);
      break;
    case kDocumentActivateMessage:
      Activate(area, document);
      break;
    case kDocumentRestoreMessage:
      ShowRecord(record, kRestore);
      break;
    case kDocumentMaximizeMessage:
      ShowRecord(record, kShowMaximized);
      break;
    default:
      break;
  }
  return 0;
}

TvWindow WindowRecords::CreateDocumentRecord(TvWindow area, const TvDocumentCreate& create) {
  // Where the area decides, documents are cascaded.
  const int32_t step = (documents_made_++ % 8) * (kBorder + kCaptionHeight);
  const int32_t left = create.x != kPlaceItself ? create.x : step;
  const int32_t top = create.y != kPlaceItself ? create.y : step;
  const int32_t width = create.width != kPlaceItself ? create.width : 400;
  const int32_t height = create.height != kPlaceItself ? create.height : 300;
  WindowSpec spec;
  if (create.window_class != nullptr) spec.window_class = create.window_class;
  spec.parent = area;
  spec.style = create.style | kStyleChild | kStyleVisible | kStyleCaption;
  spec.rect = {left, top, left + width, top + height};
  spec.instance = create.owner;
  const TvWindow document = Add(spec);
  std::vector<TvWindow>& documents = Find(area)->children;
  if (documents.size() > 1 && IsIn(document, State::kMinimized)) {
    std::rotate(documents.begin(), documents.begin() + 1, documents.end());
  } else if (documents.size() > 1 && IsIn(documents[1], State::kMaximized)) {
    ShowRecord(Find(documents[1]), kShowNormal);
    ShowRecord(Find(document), kShowMaximized);
  }
  return document;
}

void WindowRecords::Activate(TvWindow area, TvWindow document) {
  std::vector<TvWindow>& documents = Find(area)->children;
  const TvWindow previous = documents.front();
  if (previous == document) return;
  std::erase(documents, document);
  documents.insert(documents.begin(), document);
  // One maximised document hides the others, so the next active one takes that over.
  if (IsIn(previous, State::kMaximized)) {
    ShowRecord(Find(previous), kShowNormal);
    ShowRecord(Find(document), kShowMaximized);
  }
}

void WindowRecords::ActivateNext(TvWindow area, TvWindow document, bool backwards) {
  std::vector<TvWindow>& documents = Find(area)->children;
  const auto found = std::find(documents.begin(), documents.end(), document);
  if (found == documents.end() || documents.size() < 2) return;
  const auto position = static_cast<size_t>(found - documents.begin());
  const size_t count = documents.size();
  const TvWindow next = documents[(position + (backwards ? count - 1 : 1)) % count];
  Activate(area, next);
  if (!backwards) {
    std::erase(documents, document);
    documents.push_back(document);
  }
}

}  // namespace tervalon::platform
