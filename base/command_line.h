// command_line.h: the arguments that the user typed, in UTF-8 on every system.
#pragma once

#include <string>
#include <vector>

namespace vorin::base {

class CommandLine {
public:
  // Those of main.
  CommandLine(int count, const char* const* arguments);

  int count() const { return static_cast<int>(pointers_.size()); }
  const char* const* arguments() const { return pointers_.data(); }

private:
  std::vector<std::string> texts_;
  std::vector<const char*> pointers_; // to the texts, which stay where they are
};

// The texts that main's arguments stand for.
std::vector<std::string> utf8Arguments(int count, const char* const* arguments);

} // namespace vorin::base
