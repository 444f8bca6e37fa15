#include "runtime/launch/direct/fetch_ahead.h"

#include <algorithm>
#include <utility>

namespace fileref::runtime::direct {
namespace {

constexpr std::size_t kMostFiles = 32;
constexpr std::uint64_t kMostBytes = 16 << 20;

bool is_of_use(const Fetch& fetch) {
  return fetch.has_begun() && fetch.failure().empty();
}

}  // namespace

std::unique_ptr<Fetch> FetchAhead::take(std::string_view name) {
  const std::string path = session_.path_of(name);
  while (!fetches_.empty()) {
    std::unique_ptr<Fetch> fetch = std::move(fetches_.front());
    fetches_.pop_front();
    if (fetch->path() == path) return is_of_use(*fetch) ? std::move(fetch) : nullptr;
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
  const std::optional<DirectoryListing::Entry> entry = session_.find(name);
  const auto wants = [this, &fetch](std::uint64_t size) {
    fetch.allow_up_to(size + 1);  // what says that it ends there
    return bytes() + size <= kMostBytes;
  };
  if (!entry || entry->type != '-') return fetch.look(connection, wants);
  if (wants(entry->size)) fetch.open(connection, entry->size);
}

std::uint64_t FetchAhead::bytes() const {
  std::uint64_t sum = 0;
  for (const auto& fetch : fetches_) sum += fetch->size().value_or(0);
  return sum;
}

}  // namespace fileref::runtime::direct
