#include "pipe_transfer.h"

#include "frames.h"

#include <cerrno>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace vorin::media {
namespace {

std::string errnoText() {
  return std::generic_category().message(errno);
}

} // namespace

bool PipeEnd::wait(short event) const {
  constexpr int kLook_ms = 20;
  while (!interrupted_) {
    pollfd end = {descriptor_, event, 0};
    if (poll(&end, 1, kLook_ms) > 0) { // also when the other end is gone: the transfer tells
      return true;
    }
  }
  return false;
}

std::size_t PipeEnd::read(std::span<std::uint8_t> bytes) {
  std::size_t done = 0;
  while (done < bytes.size() && wait(POLLIN)) {
    const ssize_t portion = ::read(descriptor_, bytes.data() + done, bytes.size() - done);
    if (portion == 0) {
      break;
    }
    if (portion < 0 && errno != EINTR && errno != EAGAIN) {
      throw MediaError("standard input cannot be read (" + errnoText() + "): check what is connected to it");
    }
    done += portion > 0 ? static_cast<std::size_t>(portion) : 0;
  }
  return done;
}

bool PipeEnd::write(std::span<const std::uint8_t> bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    if (!wait(POLLOUT)) {
      return false;
    }
    // A pipe that can take some bytes may still make a longer write wait: this much it takes at once.
    constexpr std::size_t kPortion_bytes = 4096;
    const ssize_t portion = ::write(descriptor_, bytes.data() + done, std::min(kPortion_bytes, bytes.size() - done));
    if (portion < 0 && errno != EINTR && errno != EAGAIN) {
      throw MediaError("standard output cannot be written (" + errnoText() +
                       "): the program behind it ended, or there is no room");
    }
    done += portion > 0 ? static_cast<std::size_t>(portion) : 0;
  }
  return true;
}

} // namespace vorin::media
