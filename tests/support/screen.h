// Dialogs on a real screen, read and answered as a person would, from a thread of their own.

#ifndef TESTS_SUPPORT_SCREEN_H_
#define TESTS_SUPPORT_SCREEN_H_

#if defined(_WIN32)

#include <windows.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/temp_directory.h"

namespace tervalon::testing {

std::string TextOf(HWND window);

// Waits for a dialog of this process with a caption, and acts on it.
class ScreenReader {
 public:
  enum class Kind { kMessageBox, kFileDialog };

  ScreenReader(Kind kind, std::string caption, std::function<void(HWND dialog)> act);
  ~ScreenReader();
  ScreenReader(const ScreenReader&) = delete;
  ScreenReader& operator=(const ScreenReader&) = delete;

  // False when there was no such dialog. The rest may be read afterwards.
  bool Join();

 private:
  bool shown_ = false;
  std::thread thread_;  // last: it uses the others
};

// Reads a message box and presses one of its buttons.
class BoxReader {
 public:
  BoxReader(const std::string& caption, int button);

  bool Join() { return reader_.Join(); }

  std::string text;
  std::vector<int> buttons;
  HICON icon = nullptr;
  HWND owner = nullptr;

 private:
  void Read(HWND box, int button);

  ScreenReader reader_;  // last: it uses the others
};

// A module with nothing but resources: RT_ types, names or numbers, and their bytes.
class ResourceModule {
 public:
  struct Resource {
    const char* type;
    const char* name;
    std::vector<uint16_t> words;
  };

  explicit ResourceModule(const std::vector<Resource>& resources);
  ~ResourceModule();
  ResourceModule(const ResourceModule&) = delete;
  ResourceModule& operator=(const ResourceModule&) = delete;

  HINSTANCE instance() const { return instance_; }

 private:
  TempDirectory directory_;
  HINSTANCE instance_ = nullptr;
};

// The resource of sixteen strings in which string `number` stands.
ResourceModule::Resource StringResource(uint16_t number, const std::string& text);

// A dialog template.
class TemplateBuilder {
 public:
  explicit TemplateBuilder(DWORD style);

  // `window_class` is one of the template format's numbers, 0x80 for a button and so on.
  void Add(uint16_t window_class, DWORD style, uint16_t id, const std::string& text);

  const std::vector<uint16_t>& words() const { return words_; }

 private:
  void AddHead(DWORD style, const std::vector<uint16_t>& rest);

  std::vector<uint16_t> words_;
};

}  // namespace tervalon::testing

#endif  // _WIN32

#endif  // TESTS_SUPPORT_SCREEN_H_
