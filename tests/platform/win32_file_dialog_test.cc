// The open-file dialog on a real screen: as the platform has it, and made from the two kinds of
// templates that applications bring.

#if defined(_WIN32)

#include <gtest/gtest.h>
#include <windows.h>
// After it.
#include <dlgs.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "platform/desktop.h"
#include "tests/support/screen.h"
#include "tests/support/temp_directory.h"

namespace tervalon::platform {
namespace {

using testing::ScreenReader;
using testing::TemplateBuilder;
using testing::TextOf;

constexpr uint16_t kButton = 0x80;
constexpr uint16_t kEdit = 0x81;
constexpr uint16_t kStatic = 0x82;
constexpr uint16_t kList = 0x83;
constexpr uint16_t kCombo = 0x85;
constexpr uint16_t kOwnControl = 1999;  // of the application's template
constexpr const char* kTemplate = "PROJECT_OPEN";

// What the newer dialog takes in.
TemplateBuilder Addition() {
  TemplateBuilder addition(WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | DS_3DLOOK | DS_CONTROL);
  addition.Add(kStatic, 0, kOwnControl, "Projects of the laboratory");
  return addition;
}

// What the older dialog is as a whole.
TemplateBuilder WholeDialog() {
  TemplateBuilder whole(WS_POPUP | WS_VISIBLE | WS_CAPTION | WS_SYSMENU);
  whole.Add(kStatic, 0, stc3, "&File:");
  whole.Add(kEdit, WS_BORDER | ES_AUTOHSCROLL, edt1, "");
  whole.Add(kList, LBS_SORT | LBS_NOTIFY | LBS_OWNERDRAWFIXED | LBS_HASSTRINGS, lst1, "");
  whole.Add(kStatic, 0, stc1, "");
  whole.Add(kList, LBS_SORT | LBS_NOTIFY | LBS_OWNERDRAWFIXED | LBS_HASSTRINGS, lst2, "");
  whole.Add(kStatic, 0, stc2, "");
  whole.Add(kCombo, CBS_DROPDOWNLIST, cmb1, "");
  whole.Add(kStatic, 0, stc4, "");
  whole.Add(kCombo, CBS_DROPDOWNLIST | CBS_OWNERDRAWFIXED | CBS_HASSTRINGS, cmb2, "");
  whole.Add(kButton, BS_DEFPUSHBUTTON, IDOK, "OK");
  whole.Add(kButton, 0, IDCANCEL, "Cancel");
  whole.Add(kButton, BS_CHECKBOX, chx1, "");
  whole.Add(kButton, 0, pshHelp, "");
  whole.Add(kStatic, 0, kOwnControl, "Projects of the laboratory");
  return whole;
}

BOOL CALLBACK FindOwnControl(HWND control, LPARAM found) {
  if (GetDlgCtrlID(control) == kOwnControl) *reinterpret_cast<bool*>(found) = true;
  return TRUE;
}

HWND NameField(HWND dialog) {
  HWND field = GetDlgItem(dialog, edt1);
  return field != nullptr ? field : GetDlgItem(dialog, cmb13);
}

void Type(HWND dialog, const std::string& name) {
  SendMessageA(NameField(dialog), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(name.c_str()));
}

void Press(HWND dialog, WORD button) {
  SendMessageA(dialog, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED),
               reinterpret_cast<LPARAM>(GetDlgItem(dialog, button)));
}

struct DialogCase {
  const char* name;
  std::function<TemplateBuilder()> make;  // empty: the resources have no template
};

class FileDialogTest : public ::testing::TestWithParam<DialogCase> {
 protected:
  // Runs the dialog with what `act` does to it.
  FileChoiceResult Run(const std::function<void(HWND)>& act) {
    std::vector<testing::ResourceModule::Resource> resources = {testing::StringResource(1, "x")};
    const bool has_template = static_cast<bool>(GetParam().make);
    if (has_template) resources.push_back({RT_DIALOG, kTemplate, GetParam().make().words()});
    const testing::ResourceModule module(resources);
    choice_.instance = module.instance();
    choice_.dialog_template = kTemplate;
    choice_.title = "Choose a study";
    choice_.name_label = "Study &Name:";
    choice_.directory = directory_.Path();
    choice_.path = "Last.PRO";
    choice_.extension = "PRO";
    choice_.accept = [this](HWND, const std::string& path) {
      offered_.push_back(path);
      return path.find("Refused") == std::string::npos;
    };
    ScreenReader reader(ScreenReader::Kind::kFileDialog, choice_.title, [&](HWND dialog) {
      EXPECT_EQ(TextOf(GetDlgItem(dialog, stc3)), choice_.name_label);
      EXPECT_EQ(TextOf(NameField(dialog)), "Last.PRO");
      bool has_own_control = false;
      EnumChildWindows(dialog, FindOwnControl, reinterpret_cast<LPARAM>(&has_own_control));
      EXPECT_EQ(has_own_control, has_template);
      act(dialog);
    });
    uint32_t error = 77;
    const FileChoiceResult result = TheDesktop().ChooseFile(&choice_, &error);
    EXPECT_TRUE(reader.Join());
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(std::filesystem::current_path(), start_);
    return result;
  }

  const std::filesystem::path start_ = std::filesystem::current_path();
  testing::TempDirectory directory_;
  FileChoice choice_;
  std::vector<std::string> offered_;
};

TEST_P(FileDialogTest, StaysOpenUntilAChoiceIsTaken) {
  std::filesystem::create_directories(directory_.Path("Inner"));
  EXPECT_EQ(Run([](HWND dialog) {
              for (const char* name : {"Refused.PRO", "Inner", "New.PRO"}) {
                EXPECT_TRUE(IsWindow(dialog));
                Type(dialog, name);
                Press(dialog, IDOK);
              }
            }),
            FileChoiceResult::kChosen);
  EXPECT_EQ(offered_, (std::vector<std::string>{directory_.Path("Refused.PRO"),
                                                directory_.Path("Inner\\New.PRO")}));
  EXPECT_EQ(choice_.path, offered_.back());
}

TEST_P(FileDialogTest, ADirectoryOfTheKindIsChosen) {
  const std::string path = directory_.Path("Old.pro");
  std::filesystem::create_directories(path);
  EXPECT_EQ(Run([](HWND dialog) {
              Type(dialog, "Old.pro");
              Press(dialog, IDOK);
            }),
            FileChoiceResult::kChosen);
  EXPECT_EQ(offered_, std::vector<std::string>{path});
  EXPECT_EQ(choice_.path, path);
}

INSTANTIATE_TEST_SUITE_P(Kinds, FileDialogTest,
                         ::testing::Values(DialogCase{"WithoutTemplate", {}},
                                           DialogCase{"Addition", Addition},
                                           DialogCase{"WholeDialog", WholeDialog}),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace tervalon::platform

#endif  // _WIN32
