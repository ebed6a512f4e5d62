// output_path.h: where the programs write, so that an output is either all there or not there.
//
// A program writes into a new temporary file in the output's folder, which takes the output's name at the end, in one step.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace vorin::base {

// One line for the user: the output, why it cannot be written, and what to do.
class OutputError : public std::runtime_error {
public:
  OutputError(const std::filesystem::path& output, const std::string& why);
};

// Where the bytes go: a link as output stays a link, and what it points to is replaced. Throws an OutputError for what shows
// beforehand: it exists and overwrite is not set, it is no regular file, its folder is missing, or it is a link that leads
// nowhere.
std::filesystem::path checkedOutput(const std::filesystem::path& output, bool overwrite);

// Throws as checkedOutput does: for a look beforehand, where the work takes time.
void requireWritable(const std::filesystem::path& output, bool overwrite);

// A file in the output's folder that no other program uses, by chance alone.
std::filesystem::path temporaryBeside(const std::filesystem::path& output);

// Removes those that programs have left in the folder that were killed, and those of programs at work.
void removeTemporariesIn(const std::filesystem::path& folder);

// Gives the temporary the output's name. Throws an OutputError where that cannot be done: without overwrite, an output that
// another program made meanwhile stays.
void moveIntoPlace(const std::filesystem::path& temporary, const std::filesystem::path& output, bool overwrite);

// 16 random hexadecimal digits between the two texts.
std::string randomName(const std::string& before, const std::string& after);

} // namespace vorin::base
