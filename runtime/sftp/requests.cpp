#include "runtime/sftp/requests.h"

#include <utility>

namespace fileref::sftp {
namespace {

// Breaks the connection unless a good reply was all there.
bool is_understood(Connection& connection, const Reply& reply, Type asked) {
  if (!reply.status.is_ok() || reply.body.is_whole()) return true;
  connection.break_off("the server's answer to " + name_of(asked) + " is cut off");
  return false;
}

Taker status_taker(StatusTaker taker) {
  return [taker = std::move(taker)](const Reply& reply) { taker(reply.status); };
}

void ask_attributes_by(Asker& asker, Type type, std::string_view subject, AttributesTaker taker) {
  Connection& connection = asker.connection();
  connection
      .ask(type, &asker,
           [&connection, type, taker = std::move(taker)](Reply& reply) {
             Attributes attributes;
             if (reply.status.is_ok()) attributes = read_attributes(reply.body);
             if (is_understood(connection, reply, type)) taker(reply.status, attributes);
           })
      .text(subject);
}

Taker text_taker(Connection& connection, Type type, TextTaker taker) {
  return [&connection, type, taker = std::move(taker)](Reply& reply) {
    std::string_view text;
    if (reply.status.is_ok() && type == Type::kRealPath) reply.body.number32();  // of paths
    if (reply.status.is_ok()) text = reply.body.text();
    if (is_understood(connection, reply, type)) taker(reply.status, text);
  };
}

}  // namespace

void ask_attributes(Asker& asker, std::string_view path, AttributesTaker taker) {
  ask_attributes_by(asker, Type::kPathAttributes, path, std::move(taker));
}

void ask_link_attributes(Asker& asker, std::string_view path, AttributesTaker taker) {
  ask_attributes_by(asker, Type::kLinkAttributes, path, std::move(taker));
}

void ask_handle_attributes(Asker& asker, std::string_view handle, AttributesTaker taker) {
  ask_attributes_by(asker, Type::kHandleAttributes, handle, std::move(taker));
}

void ask_real_path(Asker& asker, std::string_view path, TextTaker taker) {
  Connection& connection = asker.connection();
  connection.ask(Type::kRealPath, &asker, text_taker(connection, Type::kRealPath, std::move(taker)))
      .text(path);
}

void open_file(Asker& asker, std::string_view path, OpenFor purpose, const Attributes& attributes,
               TextTaker taker) {
  Connection& connection = asker.connection();
  Writer request =
      connection.ask(Type::kOpen, &asker, text_taker(connection, Type::kOpen, std::move(taker)));
  request.text(path).number32(static_cast<std::uint32_t>(purpose));
  write_attributes(request, attributes);
}

void open_directory(Asker& asker, std::string_view path, TextTaker taker) {
  Connection& connection = asker.connection();
  connection
      .ask(Type::kOpenDirectory, &asker,
           text_taker(connection, Type::kOpenDirectory, std::move(taker)))
      .text(path);
}

void ask_status(Asker& asker, Type type, std::string_view subject, StatusTaker taker) {
  asker.connection().ask(type, &asker, status_taker(std::move(taker))).text(subject);
}

bool is_gone(const Status& status) {
  return status.is_ok() || status.code == kNoSuchFile;
}

void make_directory(Asker& asker, std::string_view path, StatusTaker taker) {
  Writer request =
      asker.connection().ask(Type::kMakeDirectory, &asker, status_taker(std::move(taker)));
  request.text(path);
  write_attributes(request, {});
}

void set_mode(Asker& asker, std::string_view handle, std::uint32_t mode, StatusTaker taker) {
  Writer request =
      asker.connection().ask(Type::kSetHandleAttributes, &asker, status_taker(std::move(taker)));
  request.text(handle);
  write_attributes(request, {.mode = mode});
}

void rename_over(Asker& asker, std::string_view from, std::string_view to, StatusTaker taker) {
  asker.connection()
      .ask(Type::kExtended, &asker, status_taker(std::move(taker)))
      .text(kReplacingRename)
      .text(from)
      .text(to);
}

void sync(Asker& asker, std::string_view handle, StatusTaker taker) {
  asker.connection()
      .ask(Type::kExtended, &asker, status_taker(std::move(taker)))
      .text(kSync)
      .text(handle);
}

void close_unwatched(Connection& connection, std::string_view handle) {
  connection.ask(Type::kClose, nullptr, {}).text(handle);
}

}  // namespace fileref::sftp
