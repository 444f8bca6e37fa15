// What the library throws.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace fileref {

/// Every error of this library is one: catch this, and what() is a sentence for a person. Besides
/// it, a call passes on what a function of HostOptions throws, and std::bad_alloc.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The program, or the text it was given, asks for what cannot be: a text that is no target, a
/// file that was moved from. Nothing was done.
class UsageError : public Error {
 public:
  using Error::Error;
};

/// The system refused something here: a place for temporary files, the output of a copy.
class SystemError : public Error {
 public:
  SystemError(std::error_code code, const std::string& message) : Error(message), code_(code) {}

  const std::error_code& code() const noexcept { return code_; }

 private:
  std::error_code code_;
};

/// The access method failed: what went wrong, as much as is known of it.
class Failure : public Error {
 public:
  /// What a program may want to tell apart.
  enum class Reason {
    kOther,
    kNoSuchFile,     ///< no file, no directory, or nothing that a pattern matches
    kNotADirectory,  ///< something else is there under a directory's name
    kNotAllowed,     ///< the server refuses the file, or the login
    kTimedOut,       ///< a limit was exceeded, or the host does not answer
    kNotConnected,   ///< no session came up, or it was lost for good
  };

  /// A wrong option: the text it stood in, with secrets replaced, and the wrong part of it in
  /// bytes. `text` is empty when the failure is about no option.
  struct OptionPlace {
    std::string text;
    std::size_t offset = 0;
    std::size_t length = 0;
  };

  Failure(int code, std::string message)
      : Error(message), code_(code), message_(std::move(message)) {}

  /// The access method's result code, for instance 0x80000805.
  int code() const noexcept { return code_; }
  Reason reason() const noexcept { return reason_; }
  /// A sentence for a person: what failed and what to do.
  const std::string& message() const noexcept { return message_; }
  /// The values that belong to the code: names, numbers, or the message itself.
  const std::vector<std::string>& substitutions() const noexcept { return substitutions_; }
  /// Why the client's command failed, where that was found out from what arrived; may be empty.
  const std::string& explanation() const noexcept { return explanation_; }
  /// What the client itself said, word for word; may be empty and may have several lines.
  const std::string& client_words() const noexcept { return client_words_; }
  const OptionPlace& option_place() const noexcept { return option_place_; }

  /// For whoever makes a failure.
  Failure& with_substitutions(std::vector<std::string> substitutions) {
    substitutions_ = std::move(substitutions);
    return *this;
  }
  Failure& with_client(std::string explanation, std::string words) {
    explanation_ = std::move(explanation);
    client_words_ = std::move(words);
    return *this;
  }
  Failure& with_place(OptionPlace place) {
    option_place_ = std::move(place);
    return *this;
  }
  Failure& with_reason(Reason reason) {
    reason_ = reason;
    return *this;
  }

 private:
  int code_;
  Reason reason_ = Reason::kOther;
  std::string message_;
  std::vector<std::string> substitutions_;
  std::string explanation_;
  std::string client_words_;
  OptionPlace option_place_;
};

}  // namespace fileref
