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

// Makes them carry bytes unchanged, and a console show them as UTF-8. Call once, at the start of main.
void prepareStandardStreams();

// Undoes what prepareStandardStreams did to the console, which outlives the program. An end by std::exit calls it; call it before
// any other end. Any thread may.
void restoreConsole();

enum class Stream { kOutput, kError };

// Shuts a stream while it lives, for a library that would print lines of its own. One at a time for each stream, and only while
// no other thread writes to it.
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

// The width of standard error in characters; 80 where the system does not tell.
int terminalColumns();

// Standard error for a thread of its own: its text appears even while a Quiet keeps the stream shut.
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
