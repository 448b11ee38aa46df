#include "console/waiting_input.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "console/interruption.h"

namespace dirty_seg {
namespace {

// A signal just before the wait begins does not interrupt it, so it is bounded.
constexpr int kMaxMilliseconds = 100;

}  // namespace

WaitingInput::int_type WaitingInput::underflow() {
  pollfd waiting{descriptor_, POLLIN, 0};
  while (!Interruption::Happened() && !is_over_()) {
    const int ready = poll(&waiting, 1, kMaxMilliseconds);
    const ssize_t length = ready > 0 ? read(descriptor_, buffer_.data(), buffer_.size()) : ready;
    if (length > 0) {
      setg(buffer_.data(), buffer_.data(), buffer_.data() + length);
      return traits_type::to_int_type(buffer_.front());
    }
    const bool is_over = length == 0 ? ready > 0 : errno != EINTR && errno != EAGAIN;
    if (is_over) break;
  }
  return traits_type::eof();
}

}  // namespace dirty_seg
