// Prints the folder that the library would write to; a program of its own so that the tests can lay it into a folder of their
// choice.
#include "core/log.h"
#include "core/writable_folder.h"

#include <cstdio>

int main() {
  vorin::openLog();
  return std::puts(vorin::getWritableFolder().c_str()) < 0 ? 1 : 0;
}
