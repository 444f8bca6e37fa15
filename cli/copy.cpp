#include "fileref/copy.h"

#include <algorithm>
#include <functional>

#include "cli/session.h"

namespace cli {
namespace {

fileref::Place place_of(const Request& request, const std::string& text) {
  fileref::Place place = fileref::Place::parse(text);
  Request one = request;
  one.target = text;
  if (place.is_on_server()) add_login(one, &*place.target);
  return place;
}

}  // namespace

int copy(const Request& request) try {
  std::vector<fileref::Place> places;
  for (const std::string& text : request.targets) places.push_back(place_of(request, text));
  if (std::none_of(places.begin(), places.end(), std::mem_fn(&fileref::Place::is_on_server))) {
    fileref::Target nowhere;
    add_login(request, &nowhere);  // refuses what goes with a server
  }
  Request of_all = request;
  of_all.targets.clear();  // which file of how many it is, the library tells
  const fileref::Place target = places.back();
  places.pop_back();
  int status = kDone;
  fileref::CopyOptions options{
      .host = host_options(of_all), .options = request.options, .literal = request.literal};
  options.failed = [&](const std::string& source, const fileref::Error& error) {
    status = kFailed;
    tell(describe(fmt::format("{} {}", request.what_failed, source), error));
  };
  fileref::copy(places, target, options);
  return status;
} catch (const fileref::SystemError&) {
  throw_if_interrupted();
  throw;
}

}  // namespace cli
