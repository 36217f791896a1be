// The runs and documents that are open, and how one follows from another: a click in a chromatogram
// shows the spectrum there, one in a spectrum adds a trace.

#ifndef VIEWER_CORE_WORKSPACE_H_
#define VIEWER_CORE_WORKSPACE_H_

#include <chrono>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "viewer/core/document.h"
#include "viewer/core/shell.h"

namespace tervalon::viewer {

class Workspace {
 public:
  explicit Workspace(Shell* shell) : shell_(*shell) {}
  ~Workspace();
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  // Opens a run with its chromatogram. What cannot be opened is complained about: false.
  bool Open(const std::string& path);
  // A document of the run that the active one shows; of tables and maps the one that is there
  // already. nullptr when it cannot be read.
  Document* Show(Kind kind);
  // The same of the next function or processed set, or the one before. False without another.
  bool ShowOther(int way);
  bool HasOther() const;
  void Close(Document& document);

  const std::vector<std::unique_ptr<Document>>& documents() const { return documents_; }
  Document* active() const { return active_; }
  void Activate(Document* document);

  // What the mouse did on a document's plot.
  void Do(Document& document, const Gesture& gesture);
  // Where the mouse is, for the status bar.
  void PointAt(const Document& document, const PlotPlace& place);
  // What a document shows of the run has changed, or how, or which part is seen.
  void Reread(Document& document);
  void TracesChanged(ChromatogramDocument& traces);
  void Restyle(Document& document);
  void ViewChanged(Document& document);

  // A piece of what takes long. False when there is nothing to do.
  bool Idle();
  // Breaks off what takes long.
  void Stop();
  // Looks for what has become of the runs; to be called about once a second.
  void Follow();

  Appearance& appearance() { return appearance_; }
  const Appearance& appearance() const { return appearance_; }
  void AppearanceChanged();
  bool linked() const { return linked_; }
  void set_linked(bool linked) { linked_ = linked; }

  // The chromatogram that is active, or the one beside it of the same data. nullptr: none.
  ChromatogramDocument* Traces() const;
  // Asks for a project and makes it the current one, whose runs are offered first.
  void ChooseProject();
  // Where runs are opened from: the folder of the last one, or of the current project's.
  std::string Folder() const;

  // Does something of a document, and complains about what it throws: false when it does. Of a run
  // that is in trouble that is said, once.
  template <typename Action>
  bool Try(const Document* document, Action action) {
    try {
      action();
      return true;
    } catch (const std::exception& failure) {
      Explain(document, failure);
    }
    return false;
  }

  // Paths, the last one opened first.
  const std::vector<std::string>& recent() const { return recent_; }

  // From and to the settings file: appearance, recent runs, open documents.
  void Load();
  void Save() const;
  // The documents that were open, but for those of runs that are gone.
  void RestoreDocuments();

  Shell& shell() { return shell_; }

 private:
  Document* Add(std::unique_ptr<Document> document);
  Document& Keep(std::unique_ptr<Document> document);
  // Of the same data; nullptr: none.
  template <typename Kept>
  Kept* Find(const Document& beside, Kind kind) const;
  SpectrumDocument* SpectrumOf(const Document& document);
  void Explain(const Document* document, const std::exception& failure);
  void Complain(const std::string& text);
  void Remember(const std::string& path);
  // Shows in the chromatograms what a spectrum is of.
  void MarkSpectrum(const SpectrumDocument& spectrum);

  Shell& shell_;
  std::vector<std::unique_ptr<Document>> documents_;
  Document* active_ = nullptr;
  Appearance appearance_;
  bool linked_ = true;
  std::vector<std::string> recent_;
  bool loaded_ = false;
  std::chrono::steady_clock::time_point shown_ = {};  // a piece of what takes long
};

}  // namespace tervalon::viewer

#endif  // VIEWER_CORE_WORKSPACE_H_
