#include <gtest/gtest.h>

#include "host/codes.h"
#include "runtime/temp/record_reader.h"
#include "runtime/temp/record_writer.h"

namespace fileref::runtime {
namespace {

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

// Every record in brackets, then how it ended, twice.
std::string dump(RecordReader& reader, Format format, long asked) {
  std::string text;
  for (int ends = 0; ends < 2;) {
    char* record = nullptr;
    long length = asked;
    const wrcode rc = read(reader, format, record, length);
    if (rc == kSuccess) {
      text += "[" + std::string(record, static_cast<std::size_t>(length)) + "]";
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
  } cases[] = {
      {"lines", "a\nbc\n\nd\n", kVariable, 10, 0, "[a][bc][][d] end end"},
      {"last line open", "a\nb", kVariable, 10, 0, "[a][b] end end"},
      {"cr is data", "a\r\n\r\n", kVariable, 10, 0, "[a\r][\r] end end"},
      {"empty", "", kVariable, 10, 0, " end end"},
      {"exactly as long", "abc\nabc\n", kVariable, 3, 0, "[abc][abc] end end"},
      {"exactly, last open", "abc", kVariable, 3, 0, "[abc] end end"},
      {"too long", "ab\nabcd\nx\n", kVariable, 3, 0, "[ab] long long"},
      {"too long, last open", "abcd", kVariable, 3, 0, " long long"},
      {"larger than the buffer", big + "\nx\n", kVariable, 700'000, 0, "[" + big + "][x] end end"},
      {"fixed", "abcdef", kFixed, 3, 0, "[abc][def] end end"},
      {"fixed, last short", "abcd\n", kFixed, 3, 0, "[abc][d\n ] end end"},
      {"fixed, larger than the buffer", big, kFixed, 700'001, 0, "[" + big + " ] end end"},
      {"stream", "abcdefg", kStream, 100, 3, "[abc][def][g] end end"},
      {"stream of whole records", "abcdefg", kStream, 5, 0, "[abcde][fg] end end"},
  };
  for (const auto& c : cases) {
    for (const std::size_t piece : {std::size_t{1}, std::size_t{2}, std::size_t{3},
                                    std::size_t{65536}, std::size_t{1} << 30}) {
      if (c.text.size() > 1000 && piece < 1000) continue;
      RecordReader reader(std::make_unique<PieceSource>(c.text, piece, false), c.lrecl);
      EXPECT_TRUE(dump(reader, c.format, c.asked) == c.records) << c.name << ", piece " << piece;
    }
  }
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
  EXPECT_NE(variable.why().find("Record 3 has 6 bytes; the record length is 5"), std::string::npos);
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

}  // namespace
}  // namespace fileref::runtime
