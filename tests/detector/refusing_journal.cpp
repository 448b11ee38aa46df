// A journal that takes nothing, in the place of systemd's: says so on standard output.
#include <cerrno>
#include <cstdio>

extern "C" int sd_journal_send(const char* /*format*/, ...) {
  std::printf("refused\n");
  return -ECONNREFUSED;
}
