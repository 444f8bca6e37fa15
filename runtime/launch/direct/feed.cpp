#include "runtime/launch/direct/feed.h"

#include <algorithm>
#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/shield.h"

namespace fileref::runtime::direct {

// Waits for bytes of a feed.
class Feed::Refill : public Operation {
 public:
  explicit Refill(Feed& feed) : feed_(feed), begun_(Clock::now()) {}
  ~Refill() override { feed_.waited_ += Clock::now() - begun_; }

  void begin(sftp::Connection& connection) override {
    if (!feed_.fetch_->has_begun()) feed_.fetch_->look(connection);
  }
  void drop() override {}  // with the feed
  std::optional<Answer> answer() override {
    if (feed_.waits()) return std::nullopt;
    return Answer{};
  }
  Answer lost(Answer failure, std::string_view) override {
    feed_.lost_ = failure.explanation;
    return failure;
  }
  const Transfer* transfer() const override { return &feed_.transfer_; }
  std::uint64_t moved() const override { return feed_.read_ + feed_.here(); }
  bool ends_transfer() const override { return feed_.has_ended(); }
  std::optional<Clock::duration> taken_before() const override { return feed_.waited_; }

 private:
  Feed& feed_;
  Clock::time_point begun_;
};

void Feeds::cut_off() {
  drop();
  run_ = {};
  closed_ = {};
}

void Feeds::drop() {
  for (Feed* feed : open_) feed->fetch_->drop();
}

Feed::Feed(std::shared_ptr<Feeds> feeds, Transfer transfer, std::unique_ptr<Fetch> fetch)
    : feeds_(std::move(feeds)), transfer_(std::move(transfer)), fetch_(std::move(fetch)) {
  feeds_->open_.push_back(this);
}

Feed::~Feed() {
  std::erase(feeds_->open_, this);
  if (feeds_->closed_) feeds_->closed_(transfer_, read_);
}

bool Feed::has_ended() const {
  return !lost_.empty() || fetch_->has_ended() || fetch_->has_changed();
}

bool Feed::waits() const {
  return here() == 0 && !has_ended();
}

// Bytes that have not been read.
std::uint64_t Feed::here() const {
  return fetch_->waiting().size() + fetch_->waiting().filled();
}

// What comes while it refills goes where the reader wants it.
long Feed::read(char* buffer, std::size_t capacity) {
  ByteQueue& waiting = fetch_->waiting();
  std::size_t count = waiting.take(buffer, capacity);
  if (count < capacity && !has_ended()) {
    waiting.lend({buffer, capacity}, count);
    refill();
    count = waiting.filled();
    waiting.end_loan();
  }
  if (count == 0) return end();
  read_ += count;
  fetch_->allow_up_to(read_ + kMostWaiting);
  return static_cast<long>(count);
}

// Also without a need to wait: the line is to be kept busy.
void Feed::refill() {
  const bool is_cut_off = feeds_->are_cut_off();
  if (is_cut_off && !fetch_->has_ended()) lost_ = "the session was closed";
  if (is_cut_off) return;
  const wrcode rc =
      shielded([&] { code_ = feeds_->run_(std::make_unique<Refill>(*this)); }, &lost_);
  if (rc != kSuccess) code_ = rc;
}

long Feed::end() {
  if (!lost_.empty()) return fail(lost_);
  if (fetch_->has_changed()) return fail("the file was changed while it was read");
  if (fetch_->failure().empty()) return 0;
  return fail(fetch_->failure());
}

long Feed::fail(const std::string& reason) {
  if (code_ == kSuccess) code_ = kProcessFailed;
  why_ = "The download of " + quoted(transfer_.remote) + " broke off at byte " +
         std::to_string(read_) +
         (transfer_.total ? " of " + std::to_string(*transfer_.total) : "") + ": " + reason;
  return -1;
}

}  // namespace fileref::runtime::direct
