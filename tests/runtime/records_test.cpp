#include <gtest/gtest.h>

#include <climits>

#include "host/codes.h"
#include "runtime/temp/record_reader.h"
#include "runtime/temp/record_writer.h"

namespace fileref::runtime {
namespace {

using namespace std::string_literals;

// Hands out a text in pieces of a given size, then ends or fails.
class PieceSource : public ByteSource {
 public:
  PieceSource(std::string text, std::size_t piece, bool fails)
      : text_(std::move(text)), piece_(piece), fails_(fails) {}
  long read(char* buffer, std::size_t capacity) override {
    const std::size_t count = text_.copy(buffer, std::min(capacity, piece_), taken_);
    taken_ += count;
    if (count == 0 && fails_) {
      why_ = "broken";
      return -1;
    }
    return static_cast<long>(count);
  }

 private:
  std::string text_;
  std::size_t piece_;
  bool fails_;
  std::size_t taken_ = 0;
};

class TextSink : public ByteSink {
 public:
  explicit TextSink(std::string& text) : text_(text) {}
  bool write(const char* bytes, std::size_t length) override {
    text_.append(bytes, length);
    return true;
  }
  bool finish() override { return true; }

 private:
  std::string& text_;
};

enum Format { kVariable, kFixed, kStream };

std::optional<RemoteText> text_in(const std::string& encoding) {
  return encoding.empty() ? std::nullopt : RemoteText::open(encoding, "UTF-8");
}

wrcode read(RecordReader& reader, Format format, char*& record, long& length) {
  switch (format) {
    case kVariable:
      return reader.read_variable(record, length);
    case kFixed:
      return reader.read_fixed(record, length);
    default:
      return reader.read_stream(record, length);
  }
}

// Every record in brackets, an open line with one only, then how it ended, twice.
std::string dump(RecordReader& reader, Format format, long asked) {
  std::string text;
  for (int ends = 0; ends < 2;) {
    char* record = nullptr;
    long length = asked;
    const wrcode rc = read(reader, format, record, length);
    if (rc == kSuccess) {
      text += "[" + std::string(record, static_cast<std::size_t>(length));
      if (!reader.line_is_open()) text += "]";
      continue;
    }
    ++ends;
    text += rc == kEndOfFile ? " end" : rc == kRecordTooLong ? " long" : " failed";
  }
  return text;
}

TEST(RecordReader, CutsRecordsWhereverTheBufferEnds) {
  const std::string big(700'000, 'b');
  const struct {
    const char* name;
    std::string text;
    Format format;
    long lrecl;
    long asked;
    std::string records;
    std::string encoding = {};
  } cases[] = {
      {"lines", "a\nbc\n\nd\n", kVariable, 10, 0, "[a][bc][][d] end end"},
      {"last line open", "a\nb", kVariable, 10, 0, "[a][b end end"},
      {"cr is data", "a\r\n\r\n", kVariable, 10, 0, "[a\r][\r] end end"},
      {"empty", "", kVariable, 10, 0, " end end"},
      {"exactly as long", "abc\nabc\n", kVariable, 3, 0, "[abc][abc] end end"},
      {"exactly, last open", "abc", kVariable, 3, 0, "[abc end end"},
      {"too long", "ab\nabcd\nx\n", kVariable, 3, 0, "[ab] long long"},
      {"too long, last open", "abcd", kVariable, 3, 0, " long long"},
      {"larger than the buffer", big + "\nx\n", kVariable, 700'000, 0, "[" + big + "][x] end end"},
      {"fixed", "abcdef", kFixed, 3, 0, "[abc][def] end end"},
      {"fixed, last short", "abcd\n", kFixed, 3, 0, "[abc][d\n ] end end"},
      {"fixed, larger than the buffer", big, kFixed, 700'001, 0, "[" + big + " ] end end"},
      {"stream", "abcdefg", kStream, 100, 3, "[abc][def][g] end end"},
      {"stream of whole records", "abcdefg", kStream, 5, 0, "[abcde][fg] end end"},
      {"fixed, lengths change", "M\xFCll01J\xF6rg", kFixed, 6, 0, "[Müll01][Jörg  ] end end",
       "LATIN1"},
      {"line as long as can be", "\xFC\xFC\n\xFC\xFC\xFC\n", kVariable, 2, 0, "[üü] long long",
       "LATIN1"},
      {"stream, lengths change", "\xFC\xFC\xFC", kStream, 9, 2, "[üü][ü] end end", "LATIN1"},
      {"byte order mark", "\xFE\xFF\0a\0\n\x0A\0\0b"s, kVariable, 4, 0, "[a][\u0A00b end end",
       "UTF-16"},
      {"no byte order mark", "\xAC\x20\n\0\n\0"s, kVariable, 2, 0, "[€][] end end", "UTF-16LE"},
      {"wide line too long", "a\0a\0\n\0"s, kVariable, 3, 0, " long long", "UTF-16LE"},
      {"half a line feed", "a\0\n"s, kVariable, 9, 0, " failed failed", "UTF-16LE"},
      {"wide fixed",
       "\xFF\xFE\xAC\x20"
       "b\0c\0"s,
       kFixed, 4, 0, "[€b][c ] end end", "UTF-16"},
      {"wide stream",
       "\xAC\x20"
       "b\0"s,
       kStream, 3, 1, "[€][b] end end", "UTF-16LE"},
      {"stream cut off", "ab\x82", kStream, 3, 1, "[a][b] failed failed", "SJIS"},
      {"character across an edge", "a\x82\xA0", kFixed, 2, 0, " failed failed", "SJIS"},
      {"pair across an edge", "\x3D\xD8\0\xDE"s, kFixed, 2, 0, " failed failed", "UTF-16LE"},
      {"no text", "ok\n\x82\n", kVariable, 9, 0, "[ok] failed failed", "SJIS"},
      {"lines of EBCDIC", "\x81\x25\x82\x15\x15\x83", kVariable, 1, 0, "[a][b][][c end end",
       "IBM1047"},
      {"blanks of EBCDIC", "\x81\x82\x83", kFixed, 2, 0, "[ab][c ] end end", "IBM037"},
      {"next line is data", "a\x85\x15\n", kVariable, 3, 0, "[a\u0085\x15] end end", "LATIN1"},
      {"shifted over lines", "\x1B$B$\"\n$$\x1B(B\n", kVariable, 9, 0, "[あ][い] end end",
       "ISO-2022-JP"},
      {"composed letters", "e\xEC\ne", kVariable, 2, 0, "[\u00E9][e end end", "CP1258"},
  };
  for (const auto& c : cases) {
    for (const std::size_t piece : {std::size_t{1}, std::size_t{2}, std::size_t{3},
                                    std::size_t{65536}, std::size_t{1} << 30}) {
      if (c.text.size() > 1000 && piece < 1000) continue;
      RecordReader reader(std::make_unique<PieceSource>(c.text, piece, false), c.lrecl,
                          text_in(c.encoding));
      EXPECT_TRUE(dump(reader, c.format, c.asked) == c.records) << c.name << ", piece " << piece;
    }
  }
}

TEST(RecordReader, TakesNoMoreMemoryThanThereIs) {
  RecordReader reader(std::make_unique<PieceSource>("abcd", 4, false), LONG_MAX);
  EXPECT_EQ(dump(reader, kStream, 0), "[abcd] end end");
}

TEST(RecordReader, FailsAgainAfterAFailure) {
  for (const Format format : {kVariable, kFixed, kStream}) {
    RecordReader reader(std::make_unique<PieceSource>("abc", 2, true), 5);
    EXPECT_EQ(dump(reader, format, 0), " failed failed");
    EXPECT_EQ(reader.why(), "broken");
  }
}

TEST(RecordWriter, WritesEveryFormat) {
  std::string text;
  RecordWriter variable(std::make_unique<TextSink>(text), 5);
  EXPECT_EQ(variable.write_variable("abcde", 5), kSuccess);
  EXPECT_EQ(variable.write_variable(nullptr, 0), kSuccess);
  EXPECT_EQ(variable.write_variable("abcdef", 6), kRecordTooLong);
  EXPECT_NE(variable.why().find("Record 3 is longer than the record length of 5 bytes"),
            std::string::npos);
  EXPECT_NE(variable.why().find("RECFM=S"), std::string::npos);
  EXPECT_EQ(variable.write_variable("a\nb", 3), kBadRecord);
  EXPECT_EQ(variable.write_variable("x", 1), kSuccess);
  EXPECT_EQ(variable.finish(), kSuccess);
  EXPECT_EQ(text, "abcde\n\nx\n") << "refused records leave nothing";

  text.clear();
  RecordWriter fixed(std::make_unique<TextSink>(text), 300);
  EXPECT_EQ(fixed.write_fixed("a\n", 2), kSuccess);
  EXPECT_EQ(fixed.write_fixed(std::string(301, 'x').data(), 301), kRecordTooLong);
  EXPECT_EQ(fixed.finish(), kSuccess);
  EXPECT_EQ(text, "a\n" + std::string(298, ' '));

  text.clear();
  const std::string big(1'000'000, 's');
  RecordWriter stream(std::make_unique<TextSink>(text), 1'000'000);
  EXPECT_EQ(stream.write_stream(big.data(), 1'000'000), kSuccess);
  EXPECT_EQ(stream.write_stream("\n", 1), kSuccess);
  EXPECT_EQ(stream.finish(), kSuccess);
  EXPECT_TRUE(text == big + "\n");
}

wrcode write(RecordWriter& writer, Format format, const std::string& record) {
  const auto length = static_cast<long>(record.size());
  switch (format) {
    case kVariable:
      return writer.write_variable(record.data(), length);
    case kFixed:
      return writer.write_fixed(record.data(), length);
    default:
      return writer.write_stream(record.data(), length);
  }
}

// A refused record leaves no trace, and the next is written as if it had not been.
TEST(RecordWriter, MeasuresAndFillsUpRemoteBytes) {
  const struct {
    const char* encoding;
    Format format;
    long lrecl;
    std::vector<std::string> records;  // one that begins with "!" is refused
    std::string bytes;
  } cases[] = {
      {"LATIN1", kFixed, 6, {"Müll01", "Jörg", "!Müll012"}, "M\xFCll01J\xF6rg  "},
      {"LATIN1", kVariable, 3, {"üüü", "!üüüü", "!€", "!a\xC3", ""}, "\xFC\xFC\xFC\n\n"},
      {"UTF-16",
       kVariable,
       2,
       {"!ab", "a", "b"},
       "\xFF\xFE"
       "a\0\n\0b\0\n\0"s},
      {"UTF-16",
       kFixed,
       4,
       {"a", "!abc", "bc"},
       "\xFF\xFE"
       "a\0 \0b\0c\0"s},
      {"UTF-16BE", kFixed, 4, {"a"}, "\0a\0 "s},
      {"UTF-16LE",
       kVariable,
       9,
       {"\u0A00b"},
       "\0\x0A"
       "b\0\n\0"s},
      {"UTF-16",
       kStream,
       1,
       {"a", "\xC3", "\xBC"},
       "\xFF\xFE"
       "a\0\xFC\0"s},
      {"IBM037", kFixed, 3, {"a"}, "\x81\x40\x40"},
      {"IBM1047", kVariable, 3, {"a", "!\u0085", "b"}, "\x81\x25\x82\x25"},
      {"ISO-2022-JP", kVariable, 8, {"あ", "!あx\u00E9", "x"}, "\x1B$B$\"\x1B(B\nx\n"},
      {"ISO-2022-KR",
       kFixed,
       4,
       {"a", "!가가가", "b"},
       "\x1B$)C"
       "a   b   "},
      {"CP1255", kVariable, 3, {"a"}, "a\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.encoding + std::string(", ") + c.records.front());
    std::string bytes;
    RecordWriter writer(std::make_unique<TextSink>(bytes), c.lrecl, text_in(c.encoding));
    for (const std::string& record : c.records) {
      const bool refused = record.starts_with('!');
      EXPECT_EQ(write(writer, c.format, record.substr(refused ? 1 : 0)) != kSuccess, refused);
    }
    EXPECT_EQ(writer.finish(), kSuccess) << writer.why();
    EXPECT_EQ(bytes, c.bytes);
  }
  std::string bytes;
  RecordWriter cut(std::make_unique<TextSink>(bytes), 9, text_in("UTF-16"));
  EXPECT_EQ(cut.write_stream("a\xC3", 2), kSuccess);
  EXPECT_EQ(cut.finish(), kTempFailure) << "ends inside a character";
}

TEST(RecordWriter, LeavesOnlyTheLastLineOpen) {
  std::string text;
  RecordWriter writer(std::make_unique<TextSink>(text), 3);
  EXPECT_EQ(writer.write_variable("a", 1), kSuccess);
  writer.leave_next_line_open();
  EXPECT_EQ(writer.write_variable("long", 4), kRecordTooLong);
  EXPECT_EQ(writer.write_variable("b", 1), kSuccess);
  writer.leave_next_line_open();
  EXPECT_EQ(writer.write_variable("c", 1), kSuccess);
  EXPECT_EQ(writer.write_variable("d", 1), kBadRecord);
  EXPECT_EQ(writer.finish(), kSuccess);
  EXPECT_EQ(text, "a\nb\nc");
}

}  // namespace
}  // namespace fileref::runtime
