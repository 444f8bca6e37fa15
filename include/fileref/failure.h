// The one error type of the library.
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <vector>

namespace fileref {

/// What went wrong, as much as is known of it.
class Failure : public std::exception {
 public:
  /// A wrong option: the text it stood in, with secrets replaced, and the wrong part of it in
  /// bytes. `text` is empty when the failure is about no option.
  struct OptionPlace {
    std::string text;
    std::size_t offset = 0;
    std::size_t length = 0;
  };

  Failure(int code, std::string message) : code_(code), message_(std::move(message)) {}

  /// The access method's result code, for instance 0x80000805.
  int code() const noexcept { return code_; }
  /// A sentence for a person: what failed and what to do.
  const std::string& message() const noexcept { return message_; }
  const char* what() const noexcept override { return message_.c_str(); }
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

 private:
  int code_;
  std::string message_;
  std::vector<std::string> substitutions_;
  std::string explanation_;
  std::string client_words_;
  OptionPlace option_place_;
};

}  // namespace fileref
