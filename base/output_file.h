// output_file.h: writes an output completely or not at all.
//
// The bytes go into a new temporary file in the output's folder, which takes the output's name at the end, in one step. Whatever
// ends the work early (a failure, an exception, cancellation, a library that calls std::exit) deletes the temporary file.
// Everything here throws Error(kInputOutput) with one line for the user: the output, why it cannot be written, and what to do.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

namespace vorin::base {

// The name of a temporary file that another library writes.
struct Unfinished;
class TemporaryOutput {
public:
  // Makes no file. Throws if the output exists and overwrite is not set, if it is not a regular file, if its folder is missing,
  // or if it is a link that leads nowhere. A link stays a link: its target is replaced.
  TemporaryOutput(const std::filesystem::path& output, bool overwrite);
  virtual ~TemporaryOutput(); // deletes the file unless commit renamed it
  TemporaryOutput(const TemporaryOutput&) = delete;
  TemporaryOutput& operator=(const TemporaryOutput&) = delete;

  // The file to write.
  const std::filesystem::path& path() const { return temporary_; }

  // Gives the closed file the output's name. Without overwrite, an output that another program made meanwhile stays.
  virtual void commit();

private:
  std::filesystem::path output_;
  bool overwrite_;
  std::filesystem::path temporary_;
  Unfinished* unfinished_; // null: the file stays if the process ends early
};

// An output that is written piece by piece.
class OutputFile {
public:
  // Throws as TemporaryOutput does, and makes the temporary file, so that a folder without write permission shows before any work
  // is done.
  OutputFile(const std::filesystem::path& output, bool overwrite);

  void write(std::span<const std::uint8_t> bytes);

  // Nothing may be written after commit.
  void commit();
  void commitDurably(); // after the bytes have reached the disk, so that a power failure leaves the whole file or none

private:
  struct FileCloser {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };

  std::filesystem::path output_;
  TemporaryOutput temporary_;
  std::unique_ptr<std::FILE, FileCloser> file_; // closed before the temporary file is renamed or deleted, as Windows demands
};

// Throws as TemporaryOutput does. Checks an output before work that takes time.
void requireWritable(const std::filesystem::path& output, bool overwrite);

// Deletes the temporary files that killed programs left in the folder, if they were not written to for so long. A program still
// at work loses its file if that is shorter than its breaks.
void removeTemporariesIn(const std::filesystem::path& folder, std::chrono::hours untouched_for);

// Returns the two texts with 16 random hexadecimal digits between them.
std::string randomName(const std::string& before, const std::string& after);

// Deletes the temporary files of the process, when it ends without std::exit. Any thread may call it at any moment, also in a
// signal handler; the process must end after it.
void removeUnfinishedFiles();

} // namespace vorin::base
