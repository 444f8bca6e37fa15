#include "runtime/launch/direct/fetch_ahead.h"

#include <algorithm>
#include <utility>

#include "runtime/sftp/requests.h"

namespace fileref::runtime::direct {
namespace {

constexpr std::size_t kMostFiles = 32;
constexpr std::uint64_t kMostBytes = 16 << 20;

}  // namespace

void Fetch::start(sftp::Connection& connection, std::uint64_t expected_size, std::uint64_t from) {
  size = expected_size;
  asker.reset();
  download = std::make_unique<sftp::Download>(
      connection, path, sftp::Download::Options{expected_size, from},
      [this](std::string_view data) { return put_away(data); });
}

std::unique_ptr<Fetch> FetchAhead::take(std::string_view name) {
  const std::string path = session_.path_of(name);
  while (!fetches_.empty()) {
    std::unique_ptr<Fetch> fetch = std::move(fetches_.front());
    fetches_.pop_front();
    if (fetch->path == path)
      return fetch->download && !fetch->has_failed() ? std::move(fetch) : nullptr;
  }
  last_.clear();
  return nullptr;
}

void FetchAhead::go_on(sftp::Connection& connection, std::string_view name) {
  if (fetches_.empty()) last_ = name;
  while (fetches_.size() < kMostFiles && bytes() < kMostBytes) {
    const std::optional<std::string> next = session_.expected_behind(last_);
    if (!next) return;
    last_ = *next;
    begin(connection, *next);
  }
}

// A file that is too large, or of no stated size, is not fetched ahead: it waits in memory.
void FetchAhead::begin(sftp::Connection& connection, std::string_view name) {
  Fetch& fetch = *fetches_.emplace_back(std::make_unique<Fetch>(session_.path_of(name)));
  const DirectoryListing::Entry* entry = session_.find(name);
  const auto fits = [this](std::uint64_t size) { return bytes() + size <= kMostBytes; };
  if (entry != nullptr && entry->type == '-') {
    if (fits(entry->size)) fetch.start(connection, entry->size);
    return;
  }
  fetch.asker = std::make_unique<sftp::Asker>(connection);
  sftp::ask_attributes(
      *fetch.asker, fetch.path,
      [fits, &fetch, &connection](const sftp::Status&, const sftp::Attributes& known) {
        const std::uint64_t size = known.size.value_or(kMostBytes);
        if (known.kind() == sftp::Kind::kFile && fits(size)) fetch.start(connection, size);
      });
}

std::uint64_t FetchAhead::bytes() const {
  std::uint64_t sum = 0;
  for (const auto& fetch : fetches_) sum += fetch->size;
  return sum;
}

}  // namespace fileref::runtime::direct
