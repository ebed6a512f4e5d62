#include "commands.h"
#include "text.h"
#include "vorin_error.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>

namespace vorin::pack {
namespace {

constexpr const char* kFooter = R"(
Findings of verify and the table of list go to standard output, all else to
standard error.

Exit status: 0 done, nothing found; 1 failed, or verify found something;
2 usage; 130 cancelled.

Examples:
  vorin-pack build model_st.bin --as cartoon cartoon.onnx
  vorin-pack build model_st.bin --as lightgrey grey.xml --int8 grey_int8.xml --as cartoon cartoon.xml
  vorin-pack verify model_st.bin
  vorin-pack list --json model_st.bin
  vorin-pack extract model_st.bin cartoon_model_slim5.xml -o unpacked
See vorin-pack build --help for the ways to name networks.)";

constexpr const char* kBuildFooter = R"(
A network is an OpenVINO IR, an .xml file with its .bin beside it, or an ONNX
file, which is converted to IR. The runtime reads each once, to keep other files
out of a package. All ways to name networks can be combined and repeated:

  FILE                    under its own name: net.xml (or net.onnx) becomes the
                          entries net.xml and net.bin
  --name ENTRY=FILE       under another name: ENTRY ends in .xml, and the
                          weights' entry in .bin; other files are packed unchanged
  --as NETWORK FILE       under the names that the library loads. NETWORK is
                          transfer-512, transfer-256, transfer-540p (two inputs,
                          the frame and the style image), lightgrey or cartoon
  --int8 FILE             after --as: the same network quantised to 8-bit
                          integers, for devices that prefer it (any CPU does).
                          Without it those devices get the FILE of --as too

Examples:
  vorin-pack build model_st.bin --as cartoon cartoon.onnx
  vorin-pack build model_st.bin --as lightgrey grey.xml --int8 grey_int8.xml --as cartoon cartoon.xml
  vorin-pack build model_st.bin --name cartoon_model_slim5.xml=mine.xml)";

struct RawArguments {
  std::string package;
  std::vector<std::string> files;
  std::vector<std::string> named;
  std::string folder;
  std::vector<LibraryNetwork> library_networks;
  bool as_json = false;
  bool half_precision = false;
  bool overwrite = false;
};

Error usage(const std::string& line) {
  return {ErrorKind::kUsage, line};
}

CLI::Validator isNetwork() {
  return CLI::IsMember(modelpack::networkNames()).description(""); // the help lists them already
}

void addQuantised(std::vector<LibraryNetwork>& networks, const std::string& file) {
  if (networks.empty() || networks.back().quantised_file) {
    throw usage("--int8 " + file + " belongs to no network: put it after the --as NETWORK FILE whose twin it is");
  }
  const NamedNetwork& network = *networks.back().network;
  if (!network.hasTwin()) {
    throw usage("--int8 " + file + ": the library does not load a quantised twin of " + std::string(network.name) +
                ": leave it out, or name it in --as");
  }
  networks.back().quantised_file = base::pathFromUtf8(file);
}

void addBuild(CLI::App& app, RawArguments& raw) {
  CLI::App* build = app.add_subcommand("build", "Make a package from network files");
  build->add_option("PACKAGE", raw.package, "The package to write; the library looks for model_st.bin")
      ->required()
      ->type_name("");
  build->add_option("FILE", raw.files, "Networks to pack under their own names")->type_name("");
  build->add_option("--name", raw.named, "Pack FILE under the name ENTRY")
      ->type_name("ENTRY=FILE")
      ->option_text("ENTRY=FILE")
      ->allow_extra_args(false);
  // --int8 refers to the --as before it, so both are handled while the line is parsed.
  const auto take_network = [&raw](const std::vector<std::string>& values) {
    raw.library_networks.push_back({modelpack::findNetwork(values.at(0)), base::pathFromUtf8(values.at(1)), std::nullopt});
  };
  build->add_option_function<std::vector<std::string>>("--as", take_network, "Pack FILE as that network of the library")
      ->type_size(2)
      ->allow_extra_args(false)
      ->trigger_on_parse()
      ->type_name("NETWORK FILE")
      ->option_text("NETWORK FILE")
      ->check(isNetwork().application_index(0));
  const auto take_quantised = [&raw](const std::string& file) { addQuantised(raw.library_networks, file); };
  build->add_option_function<std::string>("--int8", take_quantised, "The quantised twin of the --as before")
      ->trigger_on_parse()
      ->type_name("FILE");
  build->add_flag("--fp16", raw.half_precision, "Store the weights of ONNX networks in half precision");
  build->add_flag("--overwrite", raw.overwrite, "Replace the package if it exists");
  build->footer(kBuildFooter);
}

void addOthers(CLI::App& app, RawArguments& raw) {
  CLI::App* list = app.add_subcommand("list", "List a package's entries: size and offset in bytes, name");
  CLI::App* verify = app.add_subcommand("verify", "Check that a package holds all that the library needs");
  CLI::App* extract = app.add_subcommand("extract", "Write a package's entries as files");
  for (CLI::App* command : {list, verify, extract}) {
    command->add_option("PACKAGE", raw.package, "The package to read")->required()->type_name("");
    command->footer(""); // not the program's
  }
  list->add_flag("--json", raw.as_json, "As JSON, an array of objects with name, size_bytes, offset_bytes");
  verify->add_option("NETWORK", raw.files, "Check these only: " + base::joined(modelpack::networkNames()))
      ->type_name("")
      ->check(isNetwork());
  extract->add_option("ENTRY", raw.files, "The entries to write (default: all)")->type_name("");
  extract->add_option("-o,--output", raw.folder, "The folder for the files, made if needed")->required()->type_name("FOLDER");
  extract->add_flag("--overwrite", raw.overwrite, "Replace files that exist");
}

NamedFile checkedNamedFile(const std::string& text) {
  const std::size_t separator = text.find('=');
  if (separator == 0 || separator == std::string::npos || separator + 1 == text.size()) {
    throw usage("--name '" + text + "' is not of the form ENTRY=FILE: write it as net.xml=folder/net.onnx");
  }
  return {text.substr(0, separator), base::pathFromUtf8(text.substr(separator + 1))};
}

BuildArguments checkedBuild(const RawArguments& raw) {
  BuildArguments build;
  build.package = base::pathFromUtf8(raw.package);
  std::transform(raw.files.begin(), raw.files.end(), std::back_inserter(build.networks), base::pathFromUtf8);
  std::transform(raw.named.begin(), raw.named.end(), std::back_inserter(build.named_files), checkedNamedFile);
  build.library_networks = raw.library_networks;
  build.half_precision = raw.half_precision;
  build.overwrite = raw.overwrite;
  if (build.networks.empty() && build.named_files.empty() && build.library_networks.empty()) {
    throw usage("no network named: see vorin-pack build --help");
  }
  return build;
}

VerifyArguments checkedVerify(const RawArguments& raw) {
  VerifyArguments verify = {base::pathFromUtf8(raw.package), {}};
  for (const std::string& name : raw.files.empty() ? modelpack::networkNames() : raw.files) {
    verify.networks.push_back(modelpack::findNetwork(name));
  }
  return verify;
}

} // namespace

Arguments parseArguments(int count, const char* const* arguments) {
  RawArguments raw;
  CLI::App app("Packs neural networks for the style-transfer library, and lists, checks and extracts such packages.",
               "vorin-pack");
  app.allow_windows_style_options(false); // "/name" is a file on every system
  app.set_help_flag("-h,--help", "Print this help");
  app.set_version_flag("--version", "vorin-pack " VORIN_PACK_VERSION "\n", "Print the program's version");
  app.require_subcommand(0, 1);
  addBuild(app, raw);
  addOthers(app, raw);
  app.footer(kFooter); // set after the subcommands, which would inherit it
  try {
    app.parse(count, arguments);
  } catch (const CLI::CallForHelp&) {
    return PrintArguments{app.help()};
  } catch (const CLI::CallForVersion& version) {
    return PrintArguments{version.what()};
  } catch (const CLI::ParseError& error) {
    throw usage(std::string(error.what()) + ": see vorin-pack --help");
  }
  if (app.got_subcommand("build")) {
    return checkedBuild(raw);
  }
  if (app.got_subcommand("list")) {
    return ListArguments{base::pathFromUtf8(raw.package), raw.as_json};
  }
  if (app.got_subcommand("verify")) {
    return checkedVerify(raw);
  }
  if (app.got_subcommand("extract")) {
    return ExtractArguments{base::pathFromUtf8(raw.package), raw.files, base::pathFromUtf8(raw.folder), raw.overwrite};
  }
  throw usage("no command given: build, list, verify or extract; see vorin-pack --help");
}

} // namespace vorin::pack
