#include "python/src/session.h"

#include <pybind11/functional.h>
#include <pythread.h>

#include <chrono>
#include <climits>
#include <cmath>
#include <thread>

namespace fileref::python {

using namespace std::chrono_literals;

namespace {

// Upwards: nothing but zero is no limit.
std::chrono::milliseconds milliseconds(const py::handle& seconds) {
  const double given = PyFloat_AsDouble(seconds.ptr());
  if (PyErr_Occurred() != nullptr) throw py::error_already_set();
  if (given >= 0 && given <= 1e9) {
    return std::chrono::milliseconds(static_cast<long>(std::ceil(given * 1000)));
  }
  throw py::value_error("a limit is a number of seconds, or 0 for none");
}

int whole_number(const py::handle& given) {
  const long number = PyLong_AsLong(given.ptr());
  if (PyErr_Occurred() != nullptr) throw py::error_already_set();
  if (number < 0 || number > INT_MAX) throw py::value_error("retries are counted from 0 on");
  return static_cast<int>(number);
}

bool truth(const py::handle& given) {
  const int is_true = PyObject_IsTrue(given.ptr());
  if (is_true < 0) throw py::error_already_set();
  return is_true != 0;
}

std::function<void(std::string_view)> teller(const py::handle& function) {
  if (function.is_none()) return {};
  return [tell = function.cast<std::function<void(const py::str&)>>()](std::string_view text) {
    const py::gil_scoped_acquire gil;
    tell(text_of(text));
  };
}

using Tell = std::function<void(const py::str&, std::uint64_t, const py::object&, bool, bool)>;

std::function<void(const Progress&)> progress_teller(const py::handle& function) {
  if (function.is_none()) return {};
  return [tell = function.cast<Tell>()](const Progress& progress) {
    const py::gil_scoped_acquire gil;
    const py::object total = progress.total ? py::object(py::int_(*progress.total)) : py::none();
    tell(text_of(progress.file), progress.bytes, total, progress.is_upload, progress.ended);
  };
}

// Whether a call is to end. Only the main thread hears of signals, and it need not ask for the GIL
// each time: others want it, too.
class Interruption {
 public:
  bool operator()() {
    if (Calls::must_end()) return true;
    if (PyThread_get_thread_ident() != main_thread_) return false;
    const auto now = std::chrono::steady_clock::now();
    if (now - looked_ < 50ms) return false;
    looked_ = now;
    const py::gil_scoped_acquire gil;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    return false;
  }

 private:
  unsigned long main_thread_ =
      py::module_::import("threading").attr("main_thread")().attr("ident").cast<unsigned long>();
  std::chrono::steady_clock::time_point looked_;  // for signals
};

}  // namespace

std::string bytes_of(const py::handle& text) {
  PyObject* converted = nullptr;
  if (PyUnicode_FSConverter(text.ptr(), &converted) == 0) throw py::error_already_set();
  return py::reinterpret_steal<py::bytes>(converted);
}

std::vector<std::string> bytes_of_each(const py::handle& texts) {
  std::vector<std::string> all;
  for (const py::handle text : texts) all.push_back(bytes_of(text));
  return all;
}

py::str text_of(std::string_view bytes) {
  return py::reinterpret_steal<py::str>(
      PyUnicode_DecodeFSDefaultAndSize(bytes.data(), static_cast<Py_ssize_t>(bytes.size())));
}

std::atomic<int> Calls::under_way_{0};
std::atomic<unsigned long> Calls::last_thread_{0};

Calls::Calls() {
  if (must_end()) stop_thread();
  ++under_way_;
}

Calls::~Calls() {
  --under_way_;
  if (must_end()) stop_thread();
}

// As Python itself stops threads that come back to it then. What this one would print of a failure
// could abort the interpreter.
void Calls::stop_thread() {
  const py::gil_scoped_release without_gil;
  for (;;) std::this_thread::sleep_for(24h);
}

bool Calls::must_end() {
  const unsigned long last = last_thread_;
  return last != 0 && last != PyThread_get_thread_ident();
}

void Calls::end_all() {
  last_thread_ = PyThread_get_thread_ident();
  const py::gil_scoped_release without_gil;
  while (under_way_ > 0) std::this_thread::sleep_for(1ms);
}

HostOptions host_options(const py::dict& given) {
  HostOptions options;
  options.interrupted = Interruption();
  options.keep_connection = true;
  const auto take = [&](const char* name, auto set) {
    if (given.contains(name)) set(given[name]);
  };
  take("start_limit", [&](const auto& value) { options.start_limit = milliseconds(value); });
  take("command_limit", [&](const auto& value) { options.command_limit = milliseconds(value); });
  take("transfer_limit", [&](const auto& value) { options.transfer_limit = milliseconds(value); });
  take("stall_limit", [&](const auto& value) { options.stall_limit = milliseconds(value); });
  take("retries", [&](const auto& value) { options.retries = whole_number(value); });
  take("may_ask", [&](const auto& value) { options.may_ask = truth(value); });
  take("whole", [&](const auto& value) { options.whole = truth(value); });
  take("verify", [&](const auto& value) { options.verify_uploads = truth(value); });
  take("atomic", [&](const auto& value) { options.atomic_uploads = truth(value); });
  take("client", [&](const auto& value) { options.client = bytes_of(value); });
  take("log", [&](const auto& value) { options.log = teller(value); });
  take("warn", [&](const auto& value) { options.warn = teller(value); });
  take("progress", [&](const auto& value) { options.progress = progress_teller(value); });
  return options;
}

Session::Session(const py::dict& given) {
  HostOptions options = host_options(given);
  run([&] { host_.emplace(std::move(options)); });
}

Session::~Session() {
  finish([this] { close(); });
}

void Session::assign(const Target& target, const std::vector<std::string>& options) {
  directory_.reset();
  host().assign(kFileref, target, options);
}

Directory& Session::directory() {
  if (!directory_) directory_.emplace(host().open_directory(kFileref));
  return *directory_;
}

void Session::close_all() {
  for (Session* session : std::set(Listed::all)) {
    session->finish([session] { session->close(); });
  }
}

void Session::close() {
  has_ended_ = true;
  directory_.reset();
  host_.reset();
}

}  // namespace fileref::python
