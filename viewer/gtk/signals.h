// Signals of widgets as calls of members.

#ifndef VIEWER_GTK_SIGNALS_H_
#define VIEWER_GTK_SIGNALS_H_

#include <gtk/gtk.h>

#include <functional>
#include <memory>

namespace tervalon::viewer {

template <typename Signature>
struct SignalCall;
template <typename Result, typename... Arguments>
struct SignalCall<Result(Arguments...)> {
  using Function = std::function<Result(Arguments...)>;
  static Result Call(GtkWidget* /*sender*/, Arguments... arguments, gpointer function) {
    return (*static_cast<Function*>(function))(arguments...);
  }
};

// The action gets the signal's arguments without the sender and lives as long as the connection,
// whose number is returned.
template <typename Signature, typename Action>
gulong OnSignal(gpointer sender, const char* signal, Action action) {
  using Call = SignalCall<Signature>;
  auto* const function = new typename Call::Function(std::move(action));
  return g_signal_connect_data(
      sender, signal, G_CALLBACK(Call::Call), function,
      [](gpointer data, GClosure*) { delete static_cast<typename Call::Function*>(data); },
      GConnectFlags(0));
}

}  // namespace tervalon::viewer

#endif  // VIEWER_GTK_SIGNALS_H_
