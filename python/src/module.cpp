// The module vorin_stt._native: the media library as the Python part of the package needs it. That part checks what users pass,
// so there are no defaults and few checks here.
#include "media_files.h"
#include "native_call.h"
#include "stylizer.h"
#include "vorin_installation.hpp"

#include <nanobind/nanobind.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>
#include <utility>

namespace nb = nanobind;
using namespace nanobind::literals;
using namespace vorin;
using python::FrameReader;
using python::Stylizer;

namespace {

// A class of vorin_stt.errors, or what error_of there takes for one.
const char* nameOf(ErrorKind kind) {
  switch (kind) {
  case ErrorKind::kModel:
    return "ModelError";
  case ErrorKind::kDevice:
    return "DeviceError";
  case ErrorKind::kInputOutput:
    return "file";
  case ErrorKind::kUsage:
  case ErrorKind::kBusy:
    break;
  }
  return "VorinError";
}

PyObject* cancelled_class = nullptr; // Cancelled of vorin_stt.errors, for the life of the process

// Raises the class of vorin_stt.errors by its name; that module turns the text into one about Python.
void raise(const char* name, const char* text) {
  try {
    const nb::object error = nb::module_::import_("vorin_stt.errors").attr("error_of")(name, text);
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
  } catch (nb::python_error& error) {
    error.restore();
  }
}

void translate(const std::exception_ptr& thrown, void* /*payload*/) {
  const python::AtWork at_work; // raise() runs Python's code
  try {
    std::rethrow_exception(thrown);
  } catch (const python::FrameFault& fault) {
    raise("FrameError", fault.what());
  } catch (const python::CallError& error) {
    if (error.fault() == python::CallFault::kEnding) {
      PyErr_SetString(cancelled_class, error.what()); // nothing waits for Python's code any more
    } else {
      raise("VorinError", error.what());
    }
  } catch (const Error& error) {
    raise(nameOf(error.kind()), error.what());
  }
}

media::RestylerOptions restylerOptions(media::Style style, const std::string& network, const std::string& models,
                                       std::optional<std::pair<int, int>> size, media::Device device,
                                       std::optional<media::Precision> precision) {
  media::RestylerOptions options;
  options.style = style;
  options.network = network;
  options.models = models;
  if (size) {
    options.size = {size->first, size->second};
  }
  options.device = device;
  options.precision = precision;
  return options;
}

nb::dict dictOf(const media::RestylerReport& report) {
  nb::dict dict;
  dict["style"] = report.style;
  dict["network"] = report.network;
  dict["device"] = report.device;
  dict["precision"] = report.precision;
  dict["reason"] = report.device_reason;
  return dict;
}

nb::dict dictOf(const media::SourceInfo& info) {
  nb::dict dict;
  dict["size"] = nb::make_tuple(info.size.width, info.size.height);
  dict["frame_rate"] = nb::make_tuple(info.frame_rate.num, info.frame_rate.den);
  dict["frames"] = info.frames_expected;
  return dict;
}

nb::dict stylize(const std::string& input, const std::string& output, const media::RestylerOptions& restyler,
                 std::optional<std::pair<int, int>> size, const std::string& style_image, double strength, bool keep_colours,
                 bool steady, bool overwrite, const nb::object& on_progress) {
  media::Recipe recipe;
  recipe.restyler = restyler;
  if (size) {
    recipe.size = {size->first, size->second, 0};
  }
  recipe.style_image = style_image;
  recipe.strength = strength;
  recipe.keep_colours = keep_colours;
  recipe.steady = steady;
  recipe.sink.overwrite = overwrite;
  const media::FileResult result = python::stylizeFile(input, output, recipe, on_progress);
  nb::dict dict = dictOf(result.restyler);
  dict["frames"] = result.run.frames;
  dict["size"] = nb::make_tuple(result.size.width, result.size.height);
  dict["damage"] = result.run.damage;
  dict["warnings"] = result.run.warnings;
  return dict;
}

nb::list listGpus() {
  media::LibraryInfo info;
  {
    const python::NativeCall call;
    info = media::libraryInfo();
  }
  nb::list gpus;
  for (const media::Gpu& gpu : info.gpus) {
    gpus.append(nb::make_tuple(gpu.is_discrete ? "discrete" : "integrated", gpu.name));
  }
  return gpus;
}

// Calls on_test(style, kind of error or None, text, difference or None, tolerance) for each style; returns the report and the
// fault of the package's expectations.
nb::tuple testItself(const media::RestylerOptions& options, const nb::object& on_test) {
  const python::NativeCall call;
  media::SelfTest self_test(options);
  for (const media::Style style : media::kTestedStyles) {
    const media::StyleTest test = self_test.test(style);
    const nb::gil_scoped_acquire locked;
    const nb::object kind = test.error.empty() ? nb::object(nb::none()) : nb::object(nb::str(nameOf(test.fault)));
    on_test(test.style, kind, test.error, test.difference, test.tolerance);
  }
  const nb::gil_scoped_acquire locked;
  return nb::make_tuple(dictOf(self_test.report()), self_test.packageProblem());
}

} // namespace

NB_MODULE(_native, module) {
  nb::set_leak_warnings(false); // objects that live until the process ends are no fault
  nb::register_exception_translator(translate);
  nb::object cancelled = nb::module_::import_("vorin_stt.errors").attr("Cancelled");
  cancelled_class = cancelled.release().ptr();
  nb::module_::import_("atexit").attr("register")(nb::cpp_function(&python::endCalls));

  nb::enum_<media::Style>(module, "Style")
      .value("pencil", media::Style::kPencilSketch)
      .value("stipple", media::Style::kStippling)
      .value("lightgrey", media::Style::kLightGrey)
      .value("cartoon", media::Style::kCartoon)
      .value("transfer", media::Style::kTransfer);
  nb::enum_<media::Device>(module, "Device")
      .value("auto", media::Device::kAuto)
      .value("integrated", media::Device::kIntegratedGpu)
      .value("discrete", media::Device::kDiscreteGpu)
      .value("software", media::Device::kSoftware);
  nb::enum_<media::Precision>(module, "Precision").value("f32", media::Precision::kF32).value("bf16", media::Precision::kBf16);
  nb::enum_<media::PixelLayout>(module, "Layout")
      .value("bgra", media::PixelLayout::kBgra)
      .value("rgba", media::PixelLayout::kRgba)
      .value("bgr24", media::PixelLayout::kBgr24)
      .value("rgb24", media::PixelLayout::kRgb24)
      .value("nv12", media::PixelLayout::kNv12)
      .value("yuyv422", media::PixelLayout::kYuy2);

  nb::class_<media::RestylerOptions>(module, "Options")
      .def(nb::new_(&restylerOptions), "style"_a, "network"_a, "models"_a, "size"_a.none(), "device"_a, "precision"_a.none());
  nb::class_<Stylizer>(module, "Stylizer")
      .def(nb::init<const media::RestylerOptions&>(), "options"_a)
      .def("set_style_image", &Stylizer::setStyleImage, "image"_a.noconvert(), "layout"_a)
      .def("prepare", &Stylizer::prepare, "width"_a, "height"_a)
      .def("start_sequence", &Stylizer::startSequence)
      .def("restyle", &Stylizer::restyle, "input"_a.noconvert(), "output"_a.noconvert(), "layout"_a, "strength"_a,
           "keep_colors"_a)
      .def("report", [](Stylizer& self) { return dictOf(self.report()); })
      .def_prop_ro("closed", &Stylizer::isClosed)
      .def("close", &Stylizer::close);
  nb::class_<FrameReader>(module, "FrameReader")
      .def(nb::init<const std::string&, media::PixelLayout>(), "file"_a, "layout"_a)
      .def("info", [](FrameReader& self) { return dictOf(self.info()); })
      .def("next", &FrameReader::next)
      .def_prop_ro("damage", [](const FrameReader& self) { return self.damage(); })
      .def_prop_ro("closed", &FrameReader::isClosed)
      .def("close", &FrameReader::close);
  module.def("stylize", &stylize, "input"_a, "output"_a, "options"_a, "size"_a.none(), "style_image"_a, "strength"_a,
             "keep_colors"_a, "steady"_a, "overwrite"_a, "on_progress"_a.none());
  module.def("gpus", &listGpus);
  module.def("self_test", &testItself, "options"_a, "on_test"_a);
}
