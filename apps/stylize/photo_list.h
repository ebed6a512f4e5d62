// photo_list.h: from what the user names (files, folders, patterns) to photos, each with its place below the folder of the
// drawings.
//
// Each name has a root: a file's or a pattern's is its folder (that before the first wildcard), a folder's is itself. The tree
// that is mirrored is the one below the deepest folder that all roots have in common.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace vorin::stylize {

// Whether the names may stand for several photos: there are several, or one is a folder or a pattern. A file of just that name is
// none.
bool namesSeveral(const std::vector<std::filesystem::path>& names);

// Throws a Failure for what is drawn as a clip, by its file extension. (A file that is not there fails as a photo does.)
void requireNoClip(const std::filesystem::path& file);

struct ListedPhoto {
  std::filesystem::path file;
  std::filesystem::path place; // relative, with the photo's own file extension
};

struct PhotoList {
  std::vector<ListedPhoto> photos;
  std::size_t clips_left_out = 0; // of folders and patterns
};

// A name that matches nothing is listed as it is: reading it fails with a line that says so. Hidden files and folders, links to
// folders, and what lies in the left-out folder are not listed for a folder, nor is what has no photo's extension.
PhotoList listPhotos(const std::vector<std::filesystem::path>& names, const std::filesystem::path& left_out);

// Tells of clips that were left out, if any were.
void tellOfClips(const PhotoList& list);

// Where the drawing of a photo goes. extension: with its dot; empty for the photo's own.
std::filesystem::path drawingFile(const ListedPhoto& photo, const std::filesystem::path& folder, const std::string& extension);

} // namespace vorin::stylize
