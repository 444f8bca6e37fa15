// Adds up the numbers of a remote file, one a line, and writes the sum to another.
#include <fileref/fileref.h>

#include <cstdlib>
#include <iostream>
#include <string>

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
    for (std::string_view record : host.open("IN")) {
      sum += std::strtol(std::string(record).c_str(), nullptr, 10);
    }
    fileref::Output out = host.create("OUT");
    out.write(std::to_string(sum));
    out.close();
  } catch (const fileref::Failure& failure) {
    std::cerr << failure.message() << "\n" << failure.client_words();
    return 1;
  }
}
