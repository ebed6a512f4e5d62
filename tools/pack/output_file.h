// output_file.h: an output file that is either all there or not there.
//
// The bytes go into a new temporary file in the same folder, which takes the output's name at the end, in one step. Whatever ends
// the work earlier removes the temporary.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

namespace vorin::pack {

class OutputFile {
public:
  // Refuses an existing output unless overwrite is set, and anything there that is no regular file. The temporary is made here,
  // so that a folder that cannot be written to shows before any work is done.
  OutputFile(const std::filesystem::path& output, bool overwrite);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  void write(std::span<const std::uint8_t> bytes);

  // Gives the file its name. Without overwrite, an output that another program made meanwhile stays.
  void commit();

private:
  struct FileCloser {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };

  std::filesystem::path output_;
  bool overwrite_;
  std::filesystem::path temporary_;
  std::unique_ptr<std::FILE, FileCloser> file_;
};

// Throws the Failure that making the OutputFile would throw for what is there now.
void requireWritable(const std::filesystem::path& output, bool overwrite);

// A name that no other file has, by chance alone: 16 random hexadecimal digits between the two texts.
std::string randomName(const std::string& before, const std::string& after);

} // namespace vorin::pack
