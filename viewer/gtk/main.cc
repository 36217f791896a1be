// tervalon-view: a browser for runs.

#include <gtk/gtk.h>
#include <malloc.h>
#include <tervalon/settings.h>
#include <tervalon/version.h>

#include <filesystem>
#include <memory>

#include "viewer/gtk/frame.h"

namespace {

using tervalon::viewer::Frame;

constexpr int kKept = 1 << 27;

std::unique_ptr<Frame> frame;  // of this process

// The settings file stands where the desktop keeps such files, whatever directory the program was
// started in.
void GoToSettings() {
  const std::filesystem::path folder =
      std::filesystem::path(g_get_user_config_dir()) / "tervalon-view";
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  const std::filesystem::path started = std::filesystem::current_path(error);
  std::filesystem::current_path(folder, error);
  SetTervalonWorkingDir();
  InitIni(0);
  std::filesystem::current_path(started, error);
}

void Start(GtkApplication* application, gpointer) {
  if (frame == nullptr) {
    GoToSettings();
    frame = std::make_unique<Frame>(application);
    frame->Present();
    frame->Restore();
  }
  frame->Present();
}

void OpenFiles(GtkApplication* application, GFile** files, int count, const char*, gpointer) {
  Start(application, nullptr);
  for (int i = 0; i < count; ++i) {
    char* const path = g_file_get_path(files[i]);
    if (path != nullptr) frame->workspace().Open(path);
    g_free(path);
  }
}

}  // namespace

int main(int argc, char** argv) {
  // The memory of a picture is used again for the next one, instead of given back and cleared.
  mallopt(M_MMAP_THRESHOLD, kKept / 2);
  mallopt(M_TRIM_THRESHOLD, kKept);
  GtkApplication* const application =
      gtk_application_new("org.tervalon.View",
                          GApplicationFlags(G_APPLICATION_HANDLES_OPEN | G_APPLICATION_NON_UNIQUE));
  g_application_add_main_option(G_APPLICATION(application), "version", 'v', GOptionFlags(0),
                                G_OPTION_ARG_NONE, "Print the version", nullptr);
  g_application_set_option_context_parameter_string(G_APPLICATION(application), "[DIR...]");
  g_application_set_option_context_summary(G_APPLICATION(application),
                                           "Shows the chromatograms and spectra of runs.");
  g_signal_connect(application, "handle-local-options",
                   G_CALLBACK(+[](GApplication*, GVariantDict* options, gpointer) {
                     if (g_variant_dict_contains(options, "version") == FALSE) return -1;
                     g_print("tervalon-view %s\n", TERVALON_VERSION);
                     return 0;
                   }),
                   nullptr);
  g_signal_connect(application, "activate", G_CALLBACK(Start), nullptr);
  g_signal_connect(application, "open", G_CALLBACK(OpenFiles), nullptr);
  const int status = g_application_run(G_APPLICATION(application), argc, argv);
  frame.reset();
  g_object_unref(application);
  return status;
}
