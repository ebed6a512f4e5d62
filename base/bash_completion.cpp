#include "bash_completion.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>

namespace vorin::base {
namespace {

constexpr const char* kCompletionCommand = "completion";
constexpr const char* kShell = "bash";

std::vector<std::string> namesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) {
    names.push_back(std::string("-").append(name));
  }
  for (const std::string& name : option.get_lnames()) {
    names.push_back(std::string("--").append(name));
  }
  return names;
}

std::string joined(const std::vector<std::string>& parts, const char* separator) {
  std::string text;
  for (const std::string& part : parts) {
    text.append(text.empty() ? "" : separator).append(part);
  }
  return text;
}

std::vector<std::string> commandsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(command->get_name());
  }
  return names;
}

std::string optionNames(const CLI::App& app) {
  std::vector<std::string> all;
  for (const CLI::Option* option : app.get_options()) {
    const std::vector<std::string> names = namesOf(*option);
    all.insert(all.end(), names.begin(), names.end());
  }
  return joined(all, " ");
}

// A branch of the choice by the word before; nothing for an option that has no value.
std::string valueBranch(const CLI::Option& option, const ValueWords& words) {
  const std::vector<std::string> names = namesOf(option);
  if (names.empty() || option.get_items_expected_max() == 0) {
    return {};
  }
  const std::vector<std::string> known = words(names.back());
  const std::string kind = option.get_type_name();
  std::string how = std::string("-W \"").append(joined(known, " ")).append("\"");
  if (known.empty() && kind == "FOLDER") {
    how = "-d";
  } else if (known.empty() && kind.ends_with("FILE")) {
    how = "-f";
  }
  return std::string("    ").append(joined(names, " | ")).append(") how=(").append(how).append(") ;;\n");
}

std::string valueBranches(const CLI::App& app, const ValueWords& words) {
  std::vector<std::string> branches;
  const auto add = [&](const CLI::App& of) {
    for (const CLI::Option* option : of.get_options()) {
      const std::string branch = valueBranch(*option, words);
      if (std::find(branches.begin(), branches.end(), branch) == branches.end()) { // commands share options
        branches.push_back(branch);
      }
    }
  };
  add(app);
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    add(*command);
  }
  return joined(branches, "");
}

std::string functionName(std::string program) {
  std::replace(program.begin(), program.end(), '-', '_');
  return program.insert(0, 1, '_');
}

} // namespace

CLI::App* addCompletionCommand(CLI::App& app) {
  CLI::App* completion = app.add_subcommand(kCompletionCommand, "Print a script that completes command lines");
  completion
      ->add_option_function<std::string>(
          "SHELL", [](const std::string&) {}, kShell)
      ->type_name("")
      ->required()
      ->check(CLI::IsMember({kShell}));
  completion->set_help_flag("-h,--help", "Print this help");
  completion->footer(""); // not the program's
  return completion;
}

std::string bashCompletion(const CLI::App& app, const ValueWords& words) {
  const std::string function = functionName(app.get_name());
  const std::vector<std::string> commands = commandsOf(app);
  std::ostringstream script;
  script << "# bash completion of " << app.get_name() << "\n"
         << function << "() {\n"
         << R"(  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command= each
  local -a how=()
  if [[ $word == = ]]; then
    word=
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD-2]}
  fi
  for each in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $each in
    )" << joined(commands, " | ")
         << R"() command=$each ;;
    esac
  done
  case $before in
)" << valueBranches(app, words)
         << R"(  esac
  if [[ ${#how[@]} -eq 0 ]]; then
    how=(-f)
    [[ $command != )"
         << kCompletionCommand << " ]] || how=(-W " << kShell << R"()
    [[ -n $command ]] || how+=(-W ")"
         << joined(commands, " ") << R"(")
    if [[ $word == -* ]]; then
      case $command in
)";
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    script << "      " << command->get_name() << ") how=(-W \"" << optionNames(*command) << "\") ;;\n";
  }
  script << "      *) how=(-W \"" << optionNames(app) << R"(") ;;
      esac
    fi
  fi
  mapfile -t COMPREPLY < <(compgen "${how[@]}" -- "$word")
}
complete -o filenames -F )"
         << function << ' ' << app.get_name() << '\n';
  return script.str();
}

} // namespace vorin::base
