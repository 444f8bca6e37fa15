#include "python/src/files.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstring>

#include "host/codes.h"

namespace fileref::python {
namespace {

constexpr std::size_t kFirstPiece = 8 * 1024;
constexpr std::size_t kLargestPiece = 128 * 1024;
constexpr std::size_t kEnoughForABatch = 1024 * 1024;
constexpr const char* kWanted = "WANTED";

// The bytes of a buffer, which stays while these are used.
class Bytes {
 public:
  explicit Bytes(const py::buffer& buffer, bool writable = false)
      : info_(buffer.request(writable)),
        size_(static_cast<std::size_t>(info_.size * info_.itemsize)) {
    if (info_.ndim > 1 || (info_.ndim == 1 && info_.strides[0] != info_.itemsize)) {
      throw UsageError("The buffer is not contiguous.");
    }
  }
  char* data() const { return static_cast<char*>(info_.ptr); }
  std::size_t size() const { return size_; }
  std::string_view view() const { return {data(), size_}; }

 private:
  py::buffer_info info_;
  std::size_t size_;
};

// At the end of the interpreter a file may outlive its session: nothing is done with it then.
template <class File>
void put_away(Session& session, std::optional<File>& file) {
  if (session.has_ended()) {
    new File(std::move(*file));
    file.reset();
  } else {
    session.finish([&] { file.reset(); });
  }
}

}  // namespace

Reader::Reader(std::shared_ptr<Session> session, bool as_stream, const Open& open)
    : session_(std::move(session)), piece_(kFirstPiece) {
  session_->run([&] {
    if (as_stream) wanted_ = &session_->host().variable(kWanted);
    std::vector<std::string> options;
    if (as_stream) {
      options = {fmt::format("LRECL={}", kLargestPiece), fmt::format("NBYTE={}", kWanted)};
    }
    input_.emplace(open(options));
  });
}

Reader::~Reader() {
  if (input_) put_away(*session_, input_);
}

std::size_t Reader::read_into(const py::buffer& buffer) {
  const Bytes bytes(buffer, true);
  if (left_.empty()) session_->run([&] { refill(bytes.size()); });
  return session_->hold([&] {
    const std::size_t count = left_.copy(bytes.data(), bytes.size());
    left_.remove_prefix(count);
    return count;
  });
}

bool Reader::next(std::string_view& record) {
  if (input().next(record)) return true;
  check_skipped();
  return false;
}

void Reader::check_skipped() {
  const std::vector<std::string>& skipped = input().skipped();
  if (skipped.empty()) return;
  const std::string sentence = fmt::format(
      "{} of the files could not be read; all that the others hold was.", skipped.size());
  throw Failure(kFailed, sentence).with_client(fmt::format("{}", fmt::join(skipped, "; ")), "");
}

void Reader::refill(std::size_t wanted) {
  if (wanted_ == nullptr) return collect_lines(wanted);
  *wanted_ = static_cast<double>(piece_);
  piece_ = std::min(2 * piece_, kLargestPiece);
  if (!next(left_)) left_ = {};
}

template <class Take>
void Reader::collect(Take take) {
  if (failure_) std::rethrow_exception(failure_);
  bool any = false;
  try {
    std::string_view record;
    for (bool more = true; more && next(record); any = true) more = take(record);
  } catch (...) {
    if (!any) throw;
    failure_ = std::current_exception();
  }
}

void Reader::collect_lines(std::size_t wanted) {
  lines_.clear();
  collect([&](std::string_view record) {
    if (open_line_) lines_ += '\n';
    open_line_ = !input().is_stream() && !input().line_ended();
    lines_.append(record);
    if (!input().is_stream() && !open_line_) lines_ += '\n';
    return lines_.size() < wanted;
  });
  left_ = lines_;
}

py::list Reader::next_batch(std::size_t count) {
  std::string bytes;
  std::vector<std::size_t> ends;
  session_->run([&] {
    collect([&](std::string_view record) {
      bytes.append(record);
      ends.push_back(bytes.size());
      return ends.size() < count && bytes.size() < kEnoughForABatch;
    });
  });
  py::list batch(ends.size());
  std::size_t begin = 0;
  for (std::size_t i = 0; i < ends.size(); begin = ends[i++]) {
    batch[i] = py::bytes(bytes.data() + begin, ends[i] - begin);
  }
  return batch;
}

void Reader::copy_to(int descriptor) {
  session_->run([&] {
    input().copy_to(descriptor);
    check_skipped();
  });
}

std::vector<std::string> Reader::skipped() {
  return input().skipped();
}

void Reader::close() {
  if (!input_) return;
  session_->run([&] {
    Input closed = std::move(*input_);
    input_.reset();
    closed.close();
  });
}

Writer::Writer(std::shared_ptr<Session> session, const Create& create)
    : session_(std::move(session)) {
  session_->run([&] { output_.emplace(create()); });
}

Writer::~Writer() {
  if (output_) put_away(*session_, output_);
}

std::size_t Writer::write(const py::buffer& buffer) {
  const Bytes bytes(buffer);
  session_->run([&] {
    if (output().is_stream()) {
      write_bytes(bytes.view());
    } else {
      write_lines(bytes.view());
    }
  });
  return bytes.size();
}

void Writer::write_bytes(std::string_view bytes) {
  const auto most = static_cast<std::size_t>(output().record_length());
  for (; !bytes.empty(); bytes.remove_prefix(std::min(most, bytes.size()))) {
    output().write(bytes.substr(0, most));
  }
}

void Writer::write_lines(std::string_view bytes) {
  const std::size_t end = bytes.rfind('\n') + 1;
  if (end > 0 && !line_.empty()) {
    const std::size_t first = bytes.find('\n') + 1;
    line_.append(bytes.substr(0, first));
    output().write_lines(line_);
    line_.clear();
    output().write_lines(bytes.substr(first, end - first));
  } else {
    output().write_lines(bytes.substr(0, end));
  }
  line_.append(bytes.substr(end));
  if (line_.size() >= output().too_many_for_a_line()) output().write(line_);  // which refuses it
}

bool Writer::write_file(int descriptor) {
  return session_->run([&] { return line_.empty() && output().write_file(descriptor); });
}

void Writer::close() {
  if (!output_) return;
  session_->run([&] {
    Output closed = std::move(*output_);
    output_.reset();
    if (!line_.empty()) closed.write_last(line_);
    closed.close();
  });
}

void Writer::abandon() {
  if (!output_) return;
  session_->run([&] {
    Output abandoned = std::move(*output_);
    output_.reset();
    abandoned.abandon();
  });
}

}  // namespace fileref::python
