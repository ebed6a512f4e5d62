// com_pointer.h: ownership of the system's reference-counted objects.
#pragma once

#include <objbase.h>
#include <stdexcept>

namespace vorin::media {

// Releases its reference at the end of its life.
template <typename Interface> class ComPointer {
public:
  ComPointer() = default;
  ~ComPointer() {
    if (object_ != nullptr) {
      object_->Release();
    }
  }
  ComPointer(const ComPointer&) = delete;
  ComPointer& operator=(const ComPointer&) = delete;

  Interface* get() const { return object_; }
  Interface* operator->() const { return object_; }
  // For a function that makes the object.
  Interface** out() { return &object_; }

private:
  Interface* object_ = nullptr;
};

class ComError : public std::runtime_error {
public:
  explicit ComError(HRESULT result) : std::runtime_error("a call of the system's components failed"), result_(result) {}
  HRESULT result() const { return result_; }

private:
  HRESULT result_;
};

inline void requireSuccess(HRESULT result) {
  if (FAILED(result)) {
    throw ComError(result);
  }
}

// While it lives, its thread may use such objects.
class ComApartment {
public:
  ComApartment() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  ~ComApartment() {
    if (SUCCEEDED(result_)) {
      CoUninitialize();
    }
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

private:
  HRESULT result_; // a failure where the thread has one of another kind, which will do as well
};

} // namespace vorin::media
