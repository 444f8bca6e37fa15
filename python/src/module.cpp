// The extension module under the package fileref.
#include <pybind11/stl.h>

#include "fileref/version.h"
#include "python/src/files.h"

namespace fileref::python {
namespace {

using SessionPtr = std::shared_ptr<Session>;
using Texts = std::vector<std::string>;

// What Python code catches is made in Python, by fileref/errors.py.
py::object made(const char* maker, const py::tuple& arguments) {
  return py::module_::import("fileref.errors").attr(maker)(*arguments);
}

py::object exception_of(const Failure& failure) {
  const Failure::OptionPlace& place = failure.option_place();
  return made("failure",
              py::make_tuple(static_cast<unsigned>(failure.code()),
                             static_cast<int>(failure.reason()), text_of(failure.message()),
                             text_of(failure.explanation()), text_of(failure.client_words()),
                             text_of(place.text), place.offset, place.length));
}

py::object exception_of(const Error& error) {
  if (const auto* failure = dynamic_cast<const Failure*>(&error)) return exception_of(*failure);
  const auto* refused = dynamic_cast<const SystemError*>(&error);
  if (refused == nullptr) return made("usage_error", py::make_tuple(text_of(error.what())));
  return made("system_error", py::make_tuple(refused->code().value(), text_of(error.what())));
}

void translate(std::exception_ptr thrown) {
  try {
    std::rethrow_exception(std::move(thrown));
  } catch (const Error& error) {
    const py::object exception = exception_of(error);
    PyErr_SetObject(py::type::of(exception).ptr(), exception.ptr());
  }
}

py::object optional(const auto& value) {
  return value ? py::object(py::int_(*value)) : py::none();
}

constexpr const char* kKinds[] = {"unknown", "file", "directory", "link", "other"};

py::tuple tuple_of(const FileStatus& status) {
  return py::make_tuple(kKinds[static_cast<int>(status.kind)], optional(status.size),
                        optional(status.modified), optional(status.mode),
                        status.is_link ? py::object(py::bool_(*status.is_link)) : py::none());
}

Texts with(Texts options, const Texts& more) {
  options.insert(options.end(), more.begin(), more.end());
  return options;
}

std::unique_ptr<Reader> open_member(const SessionPtr& session, const py::object& name,
                                    const py::object& options, bool as_stream) {
  return std::make_unique<Reader>(
      session, as_stream,
      [&session, member = bytes_of(name), given = bytes_of_each(options)](const Texts& more) {
        return session->directory().open(member, {}, with(given, more));
      });
}

// Of the names of a target, or of what its last part matches unless a file has just that name; the
// session stands for them from then on. `form` is how they are read.
std::unique_ptr<Reader> open_several(const SessionPtr& session, const Target& target,
                                     const py::object& options, const py::object& form,
                                     bool as_stream) {
  return std::make_unique<Reader>(
      session, as_stream,
      [&, given = bytes_of_each(options), read_as = bytes_of_each(form)](const Texts& more) {
        session->assign(target, given);
        const bool one_file = target.names.empty() && session->stat();
        return session->open(with(with(one_file ? Texts() : Texts{"MGET"}, read_as), more));
      });
}

std::unique_ptr<Writer> create_member(const SessionPtr& session, const py::object& name,
                                      const py::object& options) {
  return std::make_unique<Writer>(
      session, [&session, member = bytes_of(name), given = bytes_of_each(options)] {
        return session->directory().create(member, {}, given);
      });
}

py::object stat_member(Session& session, const py::object& name) {
  const std::string member = bytes_of(name);
  const auto found = session.run([&] { return session.directory().stat(member); });
  return found ? py::object(tuple_of(*found)) : py::none();
}

py::list list(Session& session, const py::object& form, bool with_status) {
  std::vector<std::pair<std::string, FileStatus>> names;
  const Texts given = bytes_of_each(form);
  session.run([&] {
    Input listing = session.open(given);
    for (std::string_view name; listing.next(name);) {
      std::string kept(name);  // which asking for the status may overwrite
      const FileStatus status = with_status ? listing.status() : FileStatus();
      names.emplace_back(std::move(kept), status);
    }
    listing.close();
  });
  py::list all;
  for (const auto& [name, status] : names) {
    all.append(py::make_tuple(text_of(name), with_status ? tuple_of(status) : py::tuple()));
  }
  return all;
}

std::size_t copy_files(const py::object& sources, const py::object& target, bool literal,
                       const py::object& failed, const py::object& options, const py::dict& host) {
  std::vector<Place> places;
  for (const std::string& source : bytes_of_each(sources)) places.push_back(Place::parse(source));
  const Place into = Place::parse(bytes_of(target));
  CopyOptions how{
      .host = host_options(host), .options = bytes_of_each(options), .literal = literal};
  if (!failed.is_none()) {
    how.failed = [&](const std::string& source, const Error& error) {
      const py::gil_scoped_acquire gil;
      failed(text_of(source), exception_of(error));
    };
  }
  const Calls counted;
  const py::gil_scoped_release without_gil;
  return copy(places, into, how);
}

template <std::string Target::*Part>
void def_part(py::class_<Target>& target, const char* name, const char* doc) {
  target.def_property(
      name, [](const Target& self) { return text_of(self.*Part); },
      [](Target& self, const py::object& text) { self.*Part = bytes_of(text); }, doc);
}

template <std::vector<std::string> Target::*Part>
void def_parts(py::class_<Target>& target, const char* name, const char* doc) {
  target.def_property(
      name,
      [](const Target& self) {
        py::list all;
        for (const std::string& each : self.*Part) all.append(text_of(each));
        return all;
      },
      [](Target& self, const py::object& texts) { self.*Part = bytes_of_each(texts); }, doc);
}

void define_target(py::module_& module) {
  py::class_<Target> target(module, "Target");
  target.def(py::init<>())
      .def(py::init<const Target&>())
      .def_static("parse", [](const py::object& text) { return Target::parse(bytes_of(text)); })
      .def("check", &Target::check)
      .def("parent", &Target::parent)
      .def("is_pattern", &Target::is_pattern)
      .def("last_part", [](const Target& self) { return text_of(self.last_part()); });
  def_part<&Target::path>(target, "path", "The remote path");
  def_part<&Target::host>(target, "host", "A name or an address");
  def_part<&Target::user>(target, "user", "A login name");
  def_parts<&Target::names>(target, "names", "Names of files in the directory `path`");
  def_parts<&Target::client_arguments>(target, "client_arguments", "Words for the client");
}

void define_session(py::module_& module) {
  py::class_<Session, SessionPtr>(module, "Session")
      .def(py::init<const py::dict&>())
      .def("assign",
           [](Session& self, const Target& directory, const py::object& options) {
             const Texts given = bytes_of_each(options);
             self.run([&] { self.assign(directory, with({"DIR"}, given)); });
           })
      .def("enter", [](Session& self) { self.run([&] { self.directory().enter(); }); })
      .def("open", &open_member)
      .def("open_several", &open_several)
      .def("create", &create_member)
      .def("stat", &stat_member)
      .def("list", &list)
      .def("close", [](Session& self) { self.run([&] { self.close(); }); });
}

void define_files(py::module_& module) {
  py::class_<Reader>(module, "Reader")
      .def("readinto", &Reader::read_into)
      .def("next_batch", &Reader::next_batch)
      .def("copy_to", &Reader::copy_to)
      .def("close", &Reader::close);
  py::class_<Writer>(module, "Writer")
      .def("write", &Writer::write)
      .def("write_file", &Writer::write_file)
      .def("close", &Writer::close)
      .def("abandon", &Writer::abandon);
}

}  // namespace

PYBIND11_MODULE(_fileref, module) {
  py::register_exception_translator(&translate);
  define_target(module);
  define_session(module);
  define_files(module);
  module.def("copy", &copy_files);
  module.def("end_calls", &Calls::end_all);
  module.def("close_sessions", &Session::close_all);
  module.def("after_fork", [] {
    Calls::forget();
    Session::forget_all();
  });
  module.attr("__version__") = FILEREF_VERSION;
}

}  // namespace fileref::python
