// Adds up the numbers of a remote file, one a line, and writes the sum to another.
#include <fileref/fileref.h>

#include <charconv>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

long number(std::string_view record) {
  long value = 0;
  const char* end = record.data() + record.size();
  const auto [stop, error] = std::from_chars(record.data(), end, value);
  if (error == std::errc() && stop == end) return value;
  throw std::runtime_error("\"" + std::string(record) + "\" is no number");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: sum FROM TO   (sftp://... or local:...)\n";
    return 2;
  }
  try {
    fileref::Host host;
    host.assign("IN", fileref::Target::parse(argv[1]));
    host.assign("OUT", fileref::Target::parse(argv[2]), {"LRECL=80"});

    long sum = 0;
    for (std::string_view record : host.open("IN")) sum += number(record);
    fileref::Output out = host.create("OUT");
    out.write(std::to_string(sum));
    out.close();
  } catch (const fileref::Failure& failure) {
    std::cerr << failure.message() << "\n" << failure.client_words();
    return 1;
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return 1;
  }
}
