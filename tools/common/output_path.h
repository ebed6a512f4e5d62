// output_path.h: where the programs write, so that an output is either all there or not there.
//
// A program writes into a new temporary file in the output's folder, which takes the output's name at the end, in one step. Each
// function says in words why an output cannot be written; the programs put the output's name before it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace vorin::tools {

// Where the bytes go: a link as output stays a link, and what it points to is replaced. Nothing for a link that leads nowhere.
std::optional<std::filesystem::path> resolvedOutput(const std::filesystem::path& output);

// What to say of a link that leads nowhere.
extern const char* const kLeadsNowhere;

// Why the output cannot be written, as far as that shows beforehand: it exists and overwrite is not set, it is no regular file,
// or its folder is missing. Nothing when it looks writable.
std::optional<std::string> reasonAgainst(const std::filesystem::path& output, bool overwrite);

// A file in the output's folder that no other program uses, by chance alone.
std::filesystem::path temporaryBeside(const std::filesystem::path& output);

// Removes those that programs have left in the folder that were killed, and those of programs at work.
void removeTemporariesIn(const std::filesystem::path& folder);

// Gives the temporary the output's name. Without overwrite, an output that another program made meanwhile stays. Why it could not
// be done, or nothing when it was.
std::optional<std::string> moveIntoPlace(const std::filesystem::path& temporary, const std::filesystem::path& output,
                                         bool overwrite);

// 16 random hexadecimal digits between the two texts.
std::string randomName(const std::string& before, const std::string& after);

} // namespace vorin::tools
