#include "console/interruption.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>

namespace dirty_seg {
namespace {

constexpr std::array<int, 2> kSignals{SIGINT, SIGTERM};

// Set by a signal handler on any thread, and looked at by others.
std::atomic<bool> has_happened{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler must not wait");
std::array<struct sigaction, kSignals.size()> former_actions;

// Only what a signal handler may do.
void Note(int signal) {
  if (has_happened) {
    std::signal(signal, SIG_DFL);  // NOLINT(bugprone-signal-handler): is allowed in one
    std::raise(signal);            // NOLINT(bugprone-signal-handler)
  }
  has_happened = true;
}

}  // namespace

Interruption::Interruption() {
  has_happened = false;
  struct sigaction action {};
  action.sa_handler = &Note;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0;  // a read that waits is given up
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], &action, &former_actions[i]);
  }
}

Interruption::~Interruption() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], &former_actions[i], nullptr);
  }
  has_happened = false;  // to what comes after, nothing has
}

bool Interruption::Happened() { return has_happened; }

void ThrowIfInterrupted() {
  if (Interruption::Happened()) throw InterruptedError();
}

}  // namespace dirty_seg
