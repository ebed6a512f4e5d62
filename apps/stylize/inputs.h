// inputs.h: finds the files that the user's names (images, clips, folders) stand for, and each one's place below the folder of
// the results.
//
// Each name has a root: a file's is its folder, a folder's is itself. The tree that is mirrored is the one below the deepest
// folder that all roots have in common.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vorin::stylize {

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
std::vector<Input> listInputs(const std::vector<std::filesystem::path>& names, const std::filesystem::path& left_out,
                              bool with_clips);

// The file for the result of an input. image_extension: with its dot, for images; empty: their own. A clip of a kind that is read
// but not written becomes .mkv, which holds every kind of sound.
std::filesystem::path outputFor(const Input& input, const std::filesystem::path& folder, const std::string& image_extension);

} // namespace vorin::stylize
