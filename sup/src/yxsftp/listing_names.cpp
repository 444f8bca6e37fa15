// The names in a listing. The client prints them in columns, or each at the end of a line of its
// own; the first line of a listing with the dot entries tells which.
#include "sup/src/yxsftp/listing.h"
#include "sup/src/yxsftp/report.h"

namespace {

// Of FFCB.flags: the name is the last field of its line.
constexpr int kLastField = 0x100;

std::string_view part(std::string_view text, int from, int to) {
  return view(text.data() + from, to - from);
}

int length_of(std::string_view text) {
  return static_cast<int>(text.size());
}

// `from` or the first position behind it with that byte; the length when there is none.
int find(std::string_view text, int from, char c) {
  const int length = length_of(text);
  while (from < length && text[static_cast<std::size_t>(from)] != c) ++from;
  return from;
}

char at(std::string_view text, int i) {
  return text[static_cast<std::size_t>(i)];
}

bool ends_token(char c) {
  return c == '\n' || c == ' ';
}

// Over what may stand between two names.
int skip_gap(std::string_view text, int i) {
  while (i < length_of(text) && (ends_token(at(text, i)) || at(text, i) == '\r')) ++i;
  return std::min(i, length_of(text));
}

rctype take_name(Listing* listing, std::string_view name) {
  if (name.empty() || name.size() > kLongestName || name == "." || name == "..") return kSuccess;
  return append_name(listing->ffcb, &listing->last, name, kNameNode);
}

bool hides_dots(const Listing* listing) {
  return (listing->ffcb->flags & kOptionLs) != 0;
}

rctype take_token(Listing* listing, std::string_view name) {
  if (hides_dots(listing) && name.starts_with('.')) return kSuccess;
  const bool debug = (listing->ffcb->flags & kOptionDebug) != 0;
  if (debug && !name.empty() && name.size() <= kLongestName) {
    log_message<message::ClientText>(PrintableName(name).text);
  }
  return take_name(listing, name);
}

// What is too long to be carried cannot be a name.
void carry(Listing* listing, std::string_view rest) {
  listing->skipping = rest.size() > kLongestRun;
  if (listing->skipping) return;
  listing->carried = length_of(rest);
  if (!rest.empty()) std::memcpy(listing->tail, rest.data(), rest.size());
}

rctype take_tokens(Listing* listing, std::string_view text, int from) {
  const int length = length_of(text);
  int start = from;
  for (int i = from; i < length;) {
    if (!ends_token(at(text, i))) {
      ++i;
      continue;
    }
    const rctype rc = take_token(listing, part(text, start, i));
    if (rc != kSuccess) return rc;
    i = skip_gap(text, i);
    start = i;
  }
  carry(listing, part(text, start, length));
  return kSuccess;
}

// Looks for last fields from the front to the back of a text, over each byte once.
struct LastFields {
  std::string_view text;
  int blank = -1;
  int searched = 0;

  // What stands between the last blank and `end`; a line end in between does not matter.
  std::string_view before(int end) {
    for (int i = end; i-- > searched;) {
      if (at(text, i) != ' ') continue;
      blank = i;
      break;
    }
    searched = end;
    return blank < 0 ? std::string_view() : part(text, blank + 1, end);
  }
};

bool begins_dot_entry(std::string_view text, int i) {
  return at(text, i) == '.' && i > 0 && at(text, i - 1) == ' ';
}

rctype take_last_fields(Listing* listing, std::string_view text, int from) {
  const int length = length_of(text);
  LastFields fields{text};
  int start = from;  // behind the last name taken
  int line = from;
  for (int i = from; i < length;) {
    if (hides_dots(listing) && begins_dot_entry(text, i)) {
      i = find(text, i, '\n') + 1;
      if (i > length) break;
      if (i == length) return kSuccess;
      line = i;
    }
    if (at(text, i) != '\n') {
      ++i;
      continue;
    }
    const rctype rc = take_name(listing, fields.before(i));
    if (rc != kSuccess) return rc;
    i = skip_gap(text, i);
    start = i;
    line = i;
  }
  // Dot entries since the last name are passed over again, unless they take too much room.
  carry(listing, part(text, length - start > kLongestRun ? line : start, length));
  return kSuccess;
}

bool in_last_fields(const Listing* listing) {
  return (listing->ffcb->flags & kLastField) != 0;
}

// Where the names begin, behind the dot entries of a listing in columns.
int find_first_name(Listing* listing, std::string_view text) {
  const int line_end = find(text, 0, '\n');
  if (line_end < length_of(text)) {
    const std::string_view line = part(text, 0, line_end);
    if (line.ends_with(" .")) {
      listing->ffcb->flags |= kLastField;
      return line_end + 1;
    }
    if (line.ends_with('.')) return 0;
  }
  if (text.empty()) return 0;
  constexpr std::string_view kParent = "..";
  const int parent = wzstndx(text.data() + 1, length_of(text) - 1, kParent.data(), 2);
  return parent < 0 ? 0 : skip_gap(text, 1 + parent + 3);
}

// To the end of a run that is too long; the length when it goes on.
int skip_run(Listing* listing, std::string_view text) {
  int end = 0;
  if (in_last_fields(listing)) {
    end = find(text, 0, '\n');
  } else {
    while (end < length_of(text) && !ends_token(at(text, end))) ++end;
  }
  listing->skipping = end == length_of(text);
  return skip_gap(text, end);
}

}  // namespace

rctype take_names(Listing* listing, std::string_view text) {
  int from = 0;
  if (listing->skipping) {
    from = skip_run(listing, text);
    if (listing->skipping) return kSuccess;
  } else if (listing->first) {
    from = find_first_name(listing, text);
  }
  return in_last_fields(listing) ? take_last_fields(listing, text, from)
                                 : take_tokens(listing, text, from);
}
