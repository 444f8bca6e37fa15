#include "runtime/sftp/upload.h"

#include <algorithm>
#include <utility>

namespace fileref::sftp {

Upload::Upload(Connection& connection, std::string path, Options options, Source source)
    : Asker(connection),
      path_(std::move(path)),
      options_(std::move(options)),
      source_(std::move(source)) {
  if (is_by_way() && !connection.server().has(kReplacingRename)) {
    fail("the server cannot replace a file by renaming another, so nothing was sent");
    return;
  }
  touched_ = !is_by_way();
  const Attributes attributes{.mode = options_.mode};
  open_file(*this, written_path(), is_by_way() ? OpenFor::kWritingNew : OpenFor::kWriting,
            attributes,
            [this](const Status& status, std::string_view handle) { opened(status, handle); });
}

Upload::~Upload() {
  if (!handle_.empty()) close_unwatched(connection(), handle_);
}

void Upload::opened(const Status& status, std::string_view handle) {
  if (!status.is_ok()) {
    touched_ = false;
    return fail(status.text());
  }
  state_ = State::kWriting;
  handle_ = handle;
  connection().call_for_more(*this, true);
}

void Upload::go_on() {
  while (state_ == State::kWriting && !source_ended_ &&
         sent_ - confirmed_ < connection().settings().most_ahead && connection().has_room()) {
    write_block();
  }
}

void Upload::write_block() {
  block_.resize(connection().server().write_length);
  const long length = source_(block_.data(), block_.size());
  if (length < 0) return fail("the local file cannot be read, or has become shorter");
  if (length == 0) {
    source_ended_ = true;
    return finish_writing();
  }
  const auto bytes = static_cast<std::size_t>(length);
  connection()
      .ask(Type::kWrite, this,
           [this, bytes](const Reply& reply) { take_confirmation(bytes, reply.status); })
      .text(handle_)
      .number64(sent_)
      .text({block_.data(), bytes});
  sent_ += bytes;
}

void Upload::take_confirmation(std::size_t length, const Status& status) {
  if (state_ != State::kWriting) return;
  if (!status.is_ok()) return fail("the server refuses to write: " + status.text());
  confirmed_ += length;
  finish_writing();
}

// What is asked of a handle may be done in any order, so nothing is before every write is done.
void Upload::finish_writing() {
  if (!source_ended_ || confirmed_ < sent_) return;
  state_ = State::kClosing;
  connection().call_for_more(*this, false);
  if (options_.replaced_mode && is_by_way()) {
    ++awaited_;
    set_mode(*this, handle_, *options_.replaced_mode,
             [this](const Status& status) { take_outcome("the mode cannot be set", status); });
  }
  if (is_by_way() && connection().server().has(kSync)) {
    ++awaited_;
    sync(*this, handle_,
         [this](const Status& status) { take_outcome("the data cannot be synced", status); });
  }
  ++awaited_;
  ask_handle_attributes(*this, handle_, [this](const Status& status, const Attributes& attributes) {
    take_size(status, attributes);
  });
  close();
}

void Upload::close() {
  ++awaited_;
  ask_status(*this, Type::kClose, std::exchange(handle_, {}), [this](const Status& status) {
    take_outcome("the server closes the file with a failure", status);
  });
}

void Upload::take_outcome(const char* of, const Status& status) {
  --awaited_;
  if (!status.is_ok() && failure_.empty()) failure_ = std::string(of) + ": " + status.text();
  if (awaited_ == 0) closed();
}

// A server that states no size has confirmed every block.
void Upload::take_size(const Status& status, const Attributes& attributes) {
  if (status.is_ok() && attributes.size.value_or(sent_) != sent_ && failure_.empty()) {
    failure_ = std::to_string(*attributes.size) + " of " + std::to_string(sent_) + " bytes arrived";
  }
  take_outcome("", {});
}

void Upload::closed() {
  if (!failure_.empty()) return fail(failure_);
  if (!options_.waits) return accept();
  state_ = State::kWritten;
}

void Upload::accept() {
  if (!is_by_way()) return end();
  state_ = State::kRenaming;
  rename_over(*this, options_.by_way_of, path_, [this](const Status& status) {
    status.is_ok() ? end() : fail("the new file cannot take its place: " + status.text());
  });
}

// What was begun under another name is taken away.
void Upload::fail(std::string reason) {
  failure_ = std::move(reason);
  connection().call_for_more(*this, false);
  const bool has_begun = state_ != State::kOpening;
  if (!handle_.empty()) close_unwatched(connection(), std::exchange(handle_, {}));
  if (!is_by_way() || !has_begun) return end();
  state_ = State::kRemoving;
  ask_status(*this, Type::kRemove, options_.by_way_of, [this](const Status& status) {
    leaves_part_ = !is_gone(status);
    end();
  });
}

void Upload::end() {
  state_ = State::kEnded;
  connection().call_for_more(*this, false);
}

}  // namespace fileref::sftp
