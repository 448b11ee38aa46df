// What the detector, the engine and the code shared with the host program say, kept for Python.
//
// The definitions in speech.cpp take the place of those that write to standard output and standard
// error: nothing of the process is redirected.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "detector/call_recorder.h"

namespace dirty_seg::python {

/// Keeps what is said on its thread during a call.
class SpeechRecorder : public CallRecorder {
 public:
  CallLines Record(const std::function<void()>& call) override;

  /// Keeps them: see `TakeShown`.
  void Show(const CallLines& lines) override;

  /// The lines shown since the last call.
  CallLines TakeShown();

 private:
  CallLines shown_;
};

/// What is said to the user while a detector is set up, on the current thread.
struct SetupSpeech {
  std::vector<std::string> warnings;
  std::vector<std::string> errors;
};

/// Runs `call` and adds what it says to the user to `speech`, also when it throws.
void Listen(SetupSpeech& speech, const std::function<void()>& call);

/// A notice about SPDLOG_SYSTEMD, which asks for what this module is built without; or empty.
std::string JournalNotice();

}  // namespace dirty_seg::python
