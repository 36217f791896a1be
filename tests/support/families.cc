#include "tests/support/families.h"

#include "appsvc/application.h"
#include "datamgr/data_handles.h"
#include "db3/slots.h"
#include "plot/resources.h"
#include "settings/settings.h"
#include "tervalon/application.h"
#include "tervalon/desktop.h"
#include "tervalon/memory.h"
#include "tervalon/raw_directory.h"
#include "tervalon/settings.h"

namespace tervalon::testing {
namespace {

// Callbacks call back: what they ask for takes locks of its own.
void CallBack() {
  AppGetMainWindow();
  char text[8];
  GetGlobalString("SystemList", "RAW", "", text, sizeof(text));
  TvMemFree(TvMemAlloc(8));
}

int32_t TERVALON_CALL Progress(int32_t /*percent*/, void* /*user*/) {
  CallBack();
  return 0;
}
void TERVALON_CALL Yield(void* /*user*/) { CallBack(); }

// Yes to texts that end in an even digit.
int32_t TERVALON_CALL Answer(void* /*user*/, const char* text, const char* /*caption*/,
                             uint32_t /*style*/, TvWindow /*owner*/) {
  CallBack();
  const std::string shown = text;
  return shown.empty() || (shown.back() - '0') % 2 == 0 ? 6 : 7;
}

}  // namespace

std::vector<FamilyKind> AllFamilies() {
  std::vector<FamilyKind> all;
  for (auto* kinds : {RawFamilies, StoredFamilies, MemoryFamilies, DrawingFamilies}) {
    for (FamilyKind& kind : kinds()) all.push_back(std::move(kind));
  }
  return all;
}

FamilyGround::FamilyGround(const std::string& directory) {
  settings::ResetSettingsFile(directory.c_str());
  InitGlobal(0);
  for (uint32_t run = 0; run < 2; ++run) MakeSharedRun(SharedRun(directory, run));
  RegisterValueAdapter();
  RawUpdateInit(Progress, nullptr);
  AppSetYield(Yield, nullptr);
  TvSetMessageHandler(Answer, nullptr);
}

FamilyGround::~FamilyGround() {
  TvSetMessageHandler(nullptr, nullptr);
  RawUpdateEnd();
  appsvc::ResetApplication();
  datamgr::ResetDataHandles();
  db3::ResetDatabases();
  plot::ReleaseAllResources();
  settings::ResetGlobalStore();
  settings::ResetSettingsFile(nullptr);
}

}  // namespace tervalon::testing
