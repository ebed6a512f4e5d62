// com_pointer.h: ownership of the system's reference-counted objects.
#pragma once

#include <objbase.h>
#include <stdexcept>

namespace vorin::media {

// Releases its reference in the destructor.
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
  // Returns where a function may store the object that it makes.
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

// Lets its thread use COM objects while it lives.
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
  HRESULT result_; // fails if the thread has an apartment of another kind, which works too
};

} // namespace vorin::media
