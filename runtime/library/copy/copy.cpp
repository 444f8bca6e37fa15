#include "fileref/copy.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <deque>
#include <exception>
#include <memory>
#include <set>
#include <system_error>
#include <utility>

#include "host/codes.h"
#include "runtime/library/copy/folder.h"
#include "runtime/library/given_option.h"
#include "runtime/printable.h"

namespace fileref {
namespace {

using runtime::printable;

std::string name_of(const Place& place) {
  return place.target ? place.target->last_part() : place.path.substr(place.path.rfind('/') + 1);
}

bool is_pattern(const Place& place, bool literal) {
  return place.target && place.target->is_pattern() && !literal;
}

// The directory that the name is in.
Place parent_of(const Place& place) {
  Place parent = place;
  if (parent.target) parent.target = place.target->parent();
  parent.path.resize(parent.path.rfind('/') + 1);
  return parent;
}

bool are_one_directory(const Place& a, const Place& b) {
  if (!a.target || !b.target) return !a.target && !b.target && a.path == b.path;
  return a.target->path == b.target->path && a.target->host == b.target->host &&
         a.target->user == b.target->user &&
         a.target->client_arguments == b.target->client_arguments;
}

void check(const CopyOptions& options, bool any_server) {
  if (const auto other =
          given_option_of(options.options, {"HOST", "HOSTNAME", "USER", "CD", "NEW", "RECFM",
                                            "LRECL", "ENCODING", "NBYTE", "NONBYTE", "LS", "LSA",
                                            "LSFILE", "MGET", "DIR", "FILEEXT", "BATCHFILE"})) {
    throw Failure(kWrongUse, "A copy takes bytes as they are, and all else from its places.")
        .with_place(other->place);
  }
  if (!options.options.empty() && !any_server) {
    throw UsageError("These options go with a server, and no place names one.");
  }
}

// A folder that is opened when it is needed first. What fails then fails whenever it is needed.
class LazyFolder {
 public:
  using Open = std::function<std::unique_ptr<Folder>(const Place& place)>;
  LazyFolder(Place place, const Open& open) : place_(std::move(place)), open_(open) {}

  const Place& place() const { return place_; }
  Folder& get() {
    if (failure_) std::rethrow_exception(failure_);
    try {
      if (!folder_) folder_ = open_(place_);
    } catch (...) {
      failure_ = std::current_exception();
      throw;
    }
    return *folder_;
  }

 private:
  Place place_;
  const Open& open_;
  std::unique_ptr<Folder> folder_;
  std::exception_ptr failure_;
};

class Copier {
 public:
  Copier(const Place& target, const CopyOptions& options)
      : options_(options), target_(target), host_(with_numbers()) {}

  std::size_t run(const std::vector<Place>& sources) {
    const bool one = sources.size() == 1 && !is_pattern(sources.front(), options_.literal);
    find_target(one);
    for (const Place& source : sources) add(source);
    for (; !files_.empty(); files_.pop_front()) {
      ++number_;
      const std::string text = files_.front().text;
      report({.file = text});
      attempt(text, [this] { copy(files_.front()); });
    }
    report({.ended = true});
    return copied_;
  }

 private:
  struct File {
    std::shared_ptr<LazyFolder> folder;
    std::string name;
    std::string text;  // as it is told of
  };

  HostOptions with_numbers() {
    HostOptions options = options_.host;
    if (options.progress) options.progress = [this](const Progress& progress) { report(progress); };
    return options;
  }

  void report(Progress progress) {
    progress.number = number_;
    progress.files = count_;
    if (options_.host.progress) options_.host.progress(progress);
  }

  std::unique_ptr<Folder> open(const Place& place) {
    if (!place.target) return folder_here(place.path);
    return folder_there(host_, fmt::format("F{}", ++folders_), *place.target,
                        place.is_on_server() ? options_.options : std::vector<std::string>());
  }

  // What is there decides whether the target is a directory, if nothing else does.
  void find_target(bool may_be_a_file) {
    const std::string name = name_of(target_);
    if (may_be_a_file && !name.empty()) {
      into_ = open(parent_of(target_));
      if (!into_->has_directory(name)) {
        name_ = name;
        return;
      }
      into_.reset();
    }
    into_ = open(target_);
  }

  // Tells of what `call` throws, unless it ends all of it.
  template <class Call>
  void attempt(const std::string& text, Call call) {
    try {
      call();
    } catch (const Error& error) {
      const auto* failure = dynamic_cast<const Failure*>(&error);
      const bool is_wrong_option = failure != nullptr && !failure->option_place().text.empty();
      if (!options_.failed || is_wrong_option || is_interrupted()) throw;
      options_.failed(text, error);
    }
  }

  bool is_interrupted() const { return options_.host.interrupted && options_.host.interrupted(); }

  // A pattern is looked at now, so that it is known how many files there are.
  void add(const Place& source) {
    attempt(source.text, [&] {
      const std::string name = name_of(source);
      if (name.empty()) throw Error("It is a directory: only files are copied.");
      const std::shared_ptr<LazyFolder> folder = folder_of(source);
      if (!is_pattern(source, options_.literal) || folder->get().has(name)) {
        return add(folder, name, source.text);
      }
      const std::vector<std::string> names = folder->get().matching(name);
      if (names.empty()) throw Error("No file matches.");
      const std::string before = source.text.substr(0, source.text.find_last_of("/:") + 1);
      for (const std::string& found : names) add(folder, found, before + found);
    });
  }

  void add(const std::shared_ptr<LazyFolder>& folder, const std::string& name,
           const std::string& text) {
    files_.push_back({folder, name, text});
    ++count_;
  }

  // Files of one directory that stand one behind the other share a session.
  std::shared_ptr<LazyFolder> folder_of(const Place& source) {
    const Place parent = parent_of(source);
    const bool is_the_last =
        !files_.empty() && are_one_directory(files_.back().folder->place(), parent);
    return is_the_last ? files_.back().folder : std::make_shared<LazyFolder>(parent, open_);
  }

  void copy(const File& file) {
    if (file.name == "." || file.name == ".." || file.name.find('/') != file.name.npos) {
      throw Error("\"" + printable(file.name) + "\" is no name of a file.");
    }
    Folder& from = file.folder->get();
    const std::string name = name_.empty() ? file.name : name_;
    const std::string identity = from.identity(file.name);
    if (!identity.empty() && identity == into_->identity(name)) {
      throw Error("It is the file that it would be copied onto.");
    }
    if (made_.contains(name)) {
      throw Error("Another file of that name was copied just now, and would be lost.");
    }
    const std::unique_ptr<CopySource> source = from.open(file.name);
    const std::unique_ptr<CopySink> sink = into_->create(name);
    if (!sink->write_file(source->file())) write(file.name, *source, *sink);
    sink->finish();
    made_.insert(name);
    ++copied_;
  }

  void write(const std::string& name, CopySource& source, CopySink& sink) {
    Progress progress{.file = name, .total = source.size()};
    for (std::string_view piece = source.next(); !piece.empty(); piece = source.next()) {
      if (is_interrupted()) fail_interrupted();
      sink.write(piece);
      progress.bytes += piece.size();
      if (progress.total && is_due()) report(progress);
    }
  }

  // Whether it is time for another report.
  bool is_due() {
    constexpr std::chrono::milliseconds kInterval{200};
    const auto now = std::chrono::steady_clock::now();
    if (now - reported_ < kInterval) return false;
    reported_ = now;
    return true;
  }

  [[noreturn]] static void fail_interrupted() {
    const std::error_code code(EINTR, std::generic_category());
    throw SystemError(code, "The copy was interrupted.");
  }

  const CopyOptions& options_;
  const Place& target_;
  std::size_t number_ = 0, count_ = 0, copied_ = 0, folders_ = 0;
  Host host_;
  const LazyFolder::Open open_ = [this](const Place& place) { return open(place); };
  std::unique_ptr<Folder> into_;
  std::string name_;  // of the copy; empty: that of its source
  std::deque<File> files_;
  std::set<std::string> made_;
  std::chrono::steady_clock::time_point reported_{};
};

// "srv:/etc/hosts" and the like, but no file of such a name.
bool looks_like_a_server(std::string_view path) {
  const std::size_t colon = path.find(':');
  return colon != path.npos && colon > 0 && colon < path.find('/');
}

}  // namespace

Place Place::parse(std::string_view text) {
  Place place;
  place.text = text;
  if (text.starts_with("sftp://") || text.starts_with("local:")) {
    place.target = Target::parse(text);
    return place;
  }
  if (text.empty()) throw UsageError("A place to copy from or to is empty.");
  if (text.find('\0') != text.npos) throw UsageError("A path cannot hold a zero byte.");
  if (looks_like_a_server(text)) {
    throw UsageError(
        fmt::format("\"{}\" looks like a place on a server: write sftp://[USER@]HOST[:PORT]/PATH "
                    "for one, or \"./{}\" for a file here",
                    printable(text), printable(text)));
  }
  place.path = text;
  return place;
}

std::size_t copy(const std::vector<Place>& sources, const Place& target,
                 const CopyOptions& options) {
  const auto is_server = std::mem_fn(&Place::is_on_server);
  check(options, is_server(target) || std::any_of(sources.begin(), sources.end(), is_server));
  return Copier(target, options).run(sources);
}

}  // namespace fileref
