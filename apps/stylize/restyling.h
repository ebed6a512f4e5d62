// restyling.h: finds the files that the user's names (images, clips, folders) stand for, and each one's place below the folder of
// the results; and restyles them: connects source, effects and sink.
#pragma once

#include "recipe.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace vorin::stylize {

struct Options;

// ---- Inputs ----
//
// Each name has a root: a file's is its folder, a folder's is itself. The tree that is mirrored is the one below the deepest
// folder that all roots have in common.

struct Input {
  std::filesystem::path file;
  std::filesystem::path place; // relative, with the file's own extension
  bool is_clip = false;        // by its extension
};

// Whether the names stand for several inputs: there are several, or one is a folder.
bool nameSeveral(const std::vector<std::filesystem::path>& names);

// Lists images and, if with_clips is set, clips, also those in folders. Skips in a folder: hidden files and folders, links to
// folders, the folder left_out, and files with other extensions. A name that does not exist and a folder that cannot be read are
// listed themselves, so that their error is reported.
// other_kinds, if given, counts the files with other extensions that folders hold.
std::vector<Input> listInputs(const std::vector<std::filesystem::path>& names, const std::filesystem::path& left_out,
                              bool with_clips, std::map<std::string, int>* other_kinds = nullptr);

// The file for the result of an input, in the folder of results. An image of a kind that is read but not written becomes .png;
// such a clip, and a .webm clip that cannot hold what the options ask for, .mkv.
std::filesystem::path outputFor(const Input& input, const Options& options);

// Deletes the temporary files of killed runs from the folder; where no run is resumed, only those that nobody wrote to for a day.
void removeLeftovers(const Options& options, const std::filesystem::path& folder);

// ---- Their way ----

struct InputResult;

// Restyles the source into the sink and stores the outcome in the result.
void restyle(media::Restyling& restyling, media::Source& source, media::Sink& sink, InputResult& result,
             const media::RunOptions& run_options);

// Opens the result's input.
std::unique_ptr<media::Source> openInput(const Options& options, const InputResult& result);

// Prepares while standard output and standard error are shut: the library prints each failed attempt to standard output, where
// only data may go, and its runtime prints warnings about other programs' files. If the library's log is on, nothing is shut.
void prepareQuietly(media::Restyler& restyler, media::Size input);

// Whether a name stands for a pipe, or is written as a clip or a pipe.
bool isPipe(const std::filesystem::path& file);
bool isClipOutput(const std::filesystem::path& output);

} // namespace vorin::stylize
