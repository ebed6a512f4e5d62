// bash_completion.h: a script that completes a program's command line in bash, made from the same parser that reads the line.
//
// An option's value, behind a blank or "=", is completed from its words where there are some, with folders where its placeholder
// is FOLDER, with files where it ends in FILE, else with nothing.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace vorin::base {

// The words that an option may have as its value, by its long name ("--style"); none where anything goes.
using ValueWords = std::function<std::vector<std::string>(const std::string& option)>;

// Adds the command "completion bash" to the program's others.
CLI::App* addCompletionCommand(CLI::App& app);

std::string bashCompletion(const CLI::App& app, const ValueWords& words);

} // namespace vorin::base
