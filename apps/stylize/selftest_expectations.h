// selftest_expectations.h: how the styles should draw the selftest's pictures.
//
// The filters' drawings are known to the program. Those of networks are known to whoever built the package, who may pack them as
// its entry "selftest.json":
//
//   {"version": 1,
//    "inputs": {"photo": SUMS, "style_image": SUMS},
//    "styles": {"cartoon": {"block_sums": SUMS, "tolerance": 16}, "lightgrey": ..., "transfer": ...}}
//
// SUMS is a text, the block sums of a picture (selftest_pictures.h) in two hexadecimal digits each. The inputs are the pictures
// that were drawn: where they are not this program's, the entry says nothing about its drawings. A tolerance, 0 to 255, is how
// far any sum may be off; it has room for the precisions of devices. Styles may be left out.
#pragma once

#include "model_package.h"
#include "selftest_pictures.h"

#include <functional>
#include <map>
#include <string>

namespace vorin::stylize {

struct ExpectedDrawing {
  BlockSums sums{};
  int tolerance = 0;
};

struct Expectations {
  std::map<std::string, ExpectedDrawing, std::less<>> drawings; // by the style's name
  std::string problem; // of an entry that is there and cannot be used, continuing "its entry ..."
};

Expectations expectationsOfFilters();

// Without an entry there are neither drawings nor a problem. A Failure where the package cannot be read.
Expectations expectationsOfNetworks(const ModelPackage& package);

// Of the entry's text.
Expectations parseExpectations(const std::string& text);

} // namespace vorin::stylize
