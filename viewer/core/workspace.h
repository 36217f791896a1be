// The runs and documents that are open, and how one follows from another: a click in a chromatogram
// shows the spectrum there, one in a spectrum adds a trace.

#ifndef VIEWER_CORE_WORKSPACE_H_
#define VIEWER_CORE_WORKSPACE_H_

#include <memory>
#include <string>
#include <vector>

#include "viewer/core/document.h"
#include "viewer/core/shell.h"

namespace tervalon::viewer {

class Workspace {
 public:
  explicit Workspace(Shell* shell) : shell_(*shell) {}

  // Opens a run with its chromatogram. What cannot be opened is complained about: false.
  bool Open(const std::string& path);
  // A document of the run that the active one shows. nullptr when it cannot be read.
  Document* Show(Kind kind);
  void Close(Document& document);

  const std::vector<std::unique_ptr<Document>>& documents() const { return documents_; }
  Document* active() const { return active_; }
  void Activate(Document* document);

  // What the mouse did on a document's plot.
  void Do(Document& document, const Gesture& gesture);
  // Where the mouse is, for the status bar.
  void PointAt(const Document& document, const PlotPlace& place);
  // Something other than the data changed: it is read again, or drawn.
  void Reread(Document& document);
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
  void Keep(std::unique_ptr<Document> document);
  // Of the same data; nullptr: none.
  template <typename Kept>
  Kept* Find(const Document& beside, Kind kind) const;
  SpectrumDocument* SpectrumOf(const Document& document);
  // Complains about what it throws. False when it does.
  template <typename Action>
  bool Try(Action action);
  void Remember(const std::string& path);

  Shell& shell_;
  std::vector<std::unique_ptr<Document>> documents_;
  Document* active_ = nullptr;
  Appearance appearance_;
  bool linked_ = true;
  std::vector<std::string> recent_;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_CORE_WORKSPACE_H_
