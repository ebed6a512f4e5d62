/** @file
 * The one exception of the C++ interfaces above vorin_stt.h. */
#ifndef VORIN_ERROR_HPP
#define VORIN_ERROR_HPP

#include <stdexcept>
#include <string>

/** Gives a class one type in the library and its host. */
#if defined(__GNUC__) && !defined(_WIN32)
#define VORIN_ERROR_API __attribute__((visibility("default")))
#else
#define VORIN_ERROR_API
#endif

/** The common parts of the project's C++ interfaces. */
namespace vorin {

/** The kind of thing at fault. */
enum class ErrorKind {
  kUsage,       /**< the call: options that make no sense or do not go together, a size that a layout cannot hold */
  kModel,       /**< the model package or one of its networks */
  kDevice,      /**< the device, its driver, or the memory that the work needs */
  kInputOutput, /**< a file, a pipe, or what one of them holds */
  kBusy         /**< the object is in use by another thread; the call did nothing */
};

/** One line of UTF-8 for the user of a program: what is wrong, the reason, and what to do about it. */
class VORIN_ERROR_API Error : public std::runtime_error {
public:
  /** kind: what is at fault. text: what() returns it. */
  Error(ErrorKind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

  /** What is at fault. */
  ErrorKind kind() const noexcept { return kind_; }

private:
  ErrorKind kind_;
};

} // namespace vorin

#endif
