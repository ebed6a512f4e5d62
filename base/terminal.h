// terminal.h: the command line, the standard streams and the terminal, in UTF-8 on every system.
#pragma once

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
