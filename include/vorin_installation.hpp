/** @file
 * What is installed on this machine: the style-transfer library, the GPUs that it can use, and a self-test of every style.
 * The introduction of vorin_media.hpp holds here too. */
#ifndef VORIN_INSTALLATION_HPP
#define VORIN_INSTALLATION_HPP

#include "vorin_media.hpp"

namespace vorin::media {

/** A GPU of the inference runtime. */
struct Gpu {
  bool is_discrete = false; /**< else integrated */
  std::string name;         /**< as the runtime reports it */
};

/** The style-transfer library that is used here. */
struct LibraryInfo {
  int major = 0;         /**< of its version */
  int minor = 0;         /**< of its version */
  std::vector<Gpu> gpus; /**< that the inference runtime lists; the software device is not among them */
};

/** Reports the library's version and the GPUs. Throws kDevice. */
VORIN_MEDIA_API LibraryInfo libraryInfo();

/** How a style did in a self-test. */
struct StyleTest {
  Style style = Style::kPencilSketch;   /**< that was tested */
  std::string error;                    /**< one line; empty: the result is right */
  ErrorKind fault = ErrorKind::kDevice; /**< of the error */
  std::string block_sums;               /**< figures of the result, in hexadecimal digits; empty: there is none */
  std::optional<int> difference;        /**< the largest, from the expected figures; none: no result is expected */
  int tolerance = 0;                    /**< the largest difference that counts as right */
};

/** The styles that a self-test has, filters first. */
inline constexpr Style kTestedStyles[] = {Style::kPencilSketch, Style::kStippling, Style::kLightGrey, Style::kCartoon,
                                          Style::kTransfer};

/** Restyles a built-in picture and compares the results with those expected of the filters and of the package's networks. */
class VORIN_MEDIA_API SelfTest {
public:
  using Prepare = std::function<void(Restyler&, Size)>; /**< called in place of Restyler::prepare, if it is set */

  /** Throws as Restyler does. */
  explicit SelfTest(const RestylerOptions& options, Prepare prepare = {});
  ~SelfTest();
  SelfTest(const SelfTest&) = delete;
  SelfTest& operator=(const SelfTest&) = delete;

  StyleTest test(Style style);   /**< an Error is reported in the result */
  RestylerReport report() const; /**< of the restyler, as of the last test */
  const std::string&
  packageProblem() const; /**< why the package's expectations do not count; empty: they do, or there are none */

private:
  class Work;
  std::unique_ptr<Work> work_;
};

} // namespace vorin::media

#endif
