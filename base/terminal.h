// terminal.h: the command line, the standard streams and the terminal, in UTF-8 on every system.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorin::base {

// ---- the command line ----

// The arguments of main as the user typed them.
std::vector<std::string> utf8Arguments(int count, const char* const* arguments);

class CommandLine {
public:
  CommandLine(int count, const char* const* arguments) : texts_(utf8Arguments(count, arguments)) {
    for (const std::string& text : texts_) {
      pointers_.push_back(text.c_str());
    }
  }

  int count() const { return static_cast<int>(pointers_.size()); }
  const char* const* arguments() const { return pointers_.data(); }

private:
  std::vector<std::string> texts_;
  std::vector<const char*> pointers_; // to the texts, which stay where they are
};

// ---- the standard streams ----

// Makes the standard streams carry bytes unchanged, and a console show them as UTF-8. Call it once, at the start of main.
void prepareStandardStreams();

// Undoes what prepareStandardStreams did to the console, which outlives the program. std::exit calls it; call it before any other
// end of the process. Thread-safety: any thread.
void restoreConsole();

// The next three pass bytes through a descriptor of the C library: a pipe, a file or a console. Each returns early once the flag
// is set, though the other end of the pipe stays idle.

// Waits until reading would return at once: there are bytes, the input has ended, or it fails.
void waitForInput(int descriptor, const std::atomic<bool>& cancelled);

// Waits, and reads what is there, up to the size of bytes. Returns the number of bytes read: 0 at the end of the input and once
// the flag is set. Throws Error(kInputOutput).
std::size_t readInput(int descriptor, std::span<std::uint8_t> bytes, const std::atomic<bool>& cancelled);

// Writes all bytes. Returns false once the flag is set. Throws Error(kInputOutput).
bool writeOutput(int descriptor, std::span<const std::uint8_t> bytes, const std::atomic<bool>& cancelled);

constexpr int kStandardInput = 0;
constexpr int kStandardOutput = 1;

enum class Stream { kOutput, kError };

// Shuts a stream while the object lives, to silence a library that prints. Only one may exist for each stream, and no other
// thread may write to the stream meanwhile.
class Quiet {
public:
  explicit Quiet(Stream stream);
  ~Quiet();
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

private:
  Stream stream_;
  int saved_; // a duplicate of the descriptor; -1: nothing was shut
};

// ---- the terminal ----

bool isTerminal(Stream stream);

// The width of standard error in characters; 80 if the system does not report it.
int terminalColumns();

// Standard error through its own descriptor, for use on another thread: text appears even while a Quiet shuts the stream.
class OwnStandardError {
public:
  OwnStandardError();
  ~OwnStandardError();
  OwnStandardError(const OwnStandardError&) = delete;
  OwnStandardError& operator=(const OwnStandardError&) = delete;

  void write(std::string_view text) const; // text that cannot be written is lost

private:
  int descriptor_; // -1: there is none
};

} // namespace vorin::base
