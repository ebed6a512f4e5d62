// Prints the folder that the library would write to, and on standard error what it logs on the way; a program of its own so that
// the tests can lay it into a folder of their choice.
#include "core/log.h"
#include "core/writable_folder.h"
#include "support/system.h"

#include <cstdio>
#include <exception>

int main() try {
  vorin::tests::DebuggerOutput log;
  vorin::openLog();
  const std::string folder = vorin::getWritableFolder();
  return std::fputs(log.take().c_str(), stderr) < 0 || std::puts(folder.c_str()) < 0 ? 1 : 0;
} catch (const std::exception&) {
  return 1;
}
