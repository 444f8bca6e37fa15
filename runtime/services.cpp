#include "host/services.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "host/messages.h"
#include "host/options.h"
#include "runtime/name_escape.h"
#include "runtime/runtime.h"
#include "runtime/services.h"
#include "runtime/shield.h"
#include "runtime/tokens.h"

namespace fileref::runtime {
namespace {

// One function a row of services.def, with the row's signature.
struct Services {
#define SERVICE(NAME, VECTOR, SLOT, RESULT, PARAMETERS) static RESULT NAME PARAMETERS;
#include "host/services.def"
#undef SERVICE
};

Runtime& host() {
  return Runtime::current();
}

// Runs a service and answers for it when it throws.
template <class R, class Service>
R run(Service service) {
  R result{};
  std::string why;
  const wrcode rc = shielded([&] { result = service(); }, &why);
  if (rc == kSuccess) return result;
  host().messages.attach_text(why);
  if constexpr (std::is_pointer_v<R>) {
    return nullptr;
  } else {
    return rc;
  }
}

// What stands in the vectors: the service behind a point where tests can make it fail. A service
// with variable arguments stands there itself.
template <auto Function, class Fn>
struct Guarded;

template <auto Function, class R, class... A>
struct Guarded<Function, R(A...)> {
  // A host always has its heap.
  static constexpr bool kIsHeap = std::is_same_v<R(A...), POOL*()>;

  static R call(A... arguments) {
    if (!kIsHeap && host().service_faults.hit()) {
      if constexpr (std::is_pointer_v<R>) {
        return nullptr;
      } else {
        return kFailed;
      }
    }
    return run<R>([&] { return Function(arguments...); });
  }
  static HostSlot slot() { return reinterpret_cast<HostSlot>(&call); }
};

template <auto Function, class R, class... A>
struct Guarded<Function, R(A..., ...)> {
  static HostSlot slot() { return reinterpret_cast<HostSlot>(Function); }
};

void no_service() {
  std::fputs("fileref: the module called a host service that does not exist\n", stderr);
  std::abort();
}

using Slots = std::array<HostSlot, service::kSlots>;

struct Vectors {
  std::map<int, Slots> filled;
  Slots none;
  std::array<const HostSlot*, service::kVectors> vectors;

  Vectors() {
    none.fill(&no_service);
    vectors.fill(none.data());
#define SERVICE(NAME, VECTOR, SLOT, RESULT, PARAMETERS) \
  put(VECTOR, SLOT, Guarded<&Services::NAME, service::NAME::Fn>::slot());
#include "host/services.def"
#undef SERVICE
  }

 private:
  void put(int vector, int slot, HostSlot function) {
    Slots& slots = filled.try_emplace(vector, none).first->second;
    slots[static_cast<std::size_t>(slot)] = function;
    vectors[static_cast<std::size_t>(vector)] = slots.data();
  }
};

wrcode find_method(const char* method, AMMCB** ammcb) {
  rctype rc = kSuccess;
  *ammcb = nullptr;
  if (host().method_block(&rc) == nullptr && rc != kSuccess) return rc;
  *ammcb = host().registry.method(name_at(method));
  return *ammcb == nullptr ? kUnknownMethod : kSuccess;
}

}  // namespace

const HostSlot* const* service_vectors() {
  static const Vectors all;
  return all.vectors.data();
}

int bind_variable(char* name, long namelen, int /*kind*/, long /*len*/, int /*access*/, ptr* addr) {
  return run<int>([&] {
    double* value = host().variables.find({name, static_cast<std::size_t>(namelen)});
    *addr = value;
    return value == nullptr ? 1 : 0;
  });
}

namespace {

POOL* Services::ympoolc(long, long, long) {
  return host().memory.create_private_pool();
}

wrcode Services::wmpoold(POOL* pool) {
  return host().memory.delete_private_pool(pool) ? kSuccess : kFailed;
}

POOL* Services::yymheap() {
  return &host().memory.heap();
}

wrcode Services::yyrngef(const char*, int number, int, int, ptr, double* value, unsigned* attr,
                         TASKCTX*) {
  if (number != kHostOptionXcmd) return kUnknownHostOption;
  *value = host().host_options.external_commands ? 1.0 : 0.0;
  if (attr != nullptr) *attr = 0;
  return kSuccess;
}

wrcode Services::yyrn6gf(int number, int, long* value, unsigned* attr, TASKCTX*) {
  if (number != kHostOptionRecordLength) return kUnknownHostOption;
  const HostOptionValues& options = host().host_options;
  *value = options.record_length;
  *attr = options.record_length_is_default ? kOriginSystem : kOriginUser;
  return kSuccess;
}

int Services::ypmstr(char* buffer, int capacity, int group, int number, ...) {
  std::va_list arguments;
  va_start(arguments, number);
  std::size_t length = 0;
  run<wrcode>([&] {
    const std::string text = Messages::format(group, number, arguments);
    length = text.copy(buffer, static_cast<std::size_t>(capacity));
    return kSuccess;
  });
  va_end(arguments);
  return static_cast<int>(length);
}

wrcode Services::ypmlog(int group, int number, ...) {
  std::va_list arguments;
  va_start(arguments, number);
  const wrcode rc = run<wrcode>([&] {
    host().messages.log(group, number, arguments);
    return kSuccess;
  });
  va_end(arguments);
  return rc;
}

// A text may be handed over with its terminator. Of two values the first is a number, four raw
// bytes, and the second the name or token that it is the length of.
std::string substitution(std::string_view value, int count, int i) {
  if (count == 2 && i == 0) {
    int raw = 0;
    std::memcpy(&raw, value.data(), sizeof raw);
    return std::to_string(raw);
  }
  if (value.ends_with('\0')) value.remove_suffix(1);
  const std::string text(trimmed(value));
  return count == 2 ? unescape_name(text) : text;
}

wrcode Services::wrmksub(int count, ...) {
  std::va_list arguments;
  va_start(arguments, count);
  const wrcode rc = run<wrcode>([&] {
    std::vector<std::string> substitutions;
    for (int i = 0; i < count; ++i) {
      const auto* value = va_arg(arguments, const char*);
      const auto length = static_cast<std::size_t>(va_arg(arguments, int));
      substitutions.push_back(substitution({value, length}, count, i));
    }
    host().messages.attach(std::move(substitutions));
    return kSuccess;
  });
  va_end(arguments);
  return rc;
}

wrcode Services::yxam2am(const char* method, AMMCB** ammcb, rebid) {
  return find_method(method, ammcb);
}

wrcode Services::yxamscp(const char* method, AMMCB** ammcb, rebid) {
  return find_method(method, ammcb);
}

wrcode Services::yxal2am(const char* logicalname, rebid, AMMCB** ammcb) {
  *ammcb = host().registry.assigned(name_at(logicalname));
  rctype rc = kSuccess;
  if (*ammcb == nullptr) *ammcb = host().method_block(&rc);
  return rc;
}

wrcode Services::yxaunql(char* logicalname, rebid) {
  const Name8 name = host().registry.unique_name();
  std::memcpy(logicalname, name.data(), name.size());
  return kSuccess;
}

wrcode Services::yxrasgn(char* logicalname, rebid, const char* method, char*, int, ptr) {
  if (name_at(method) != name8("TEMP")) return kUnknownMethod;
  Name8 name = name_at(logicalname);
  if (text_of(name).empty() || name.front() == '\0') {
    do {
      name = host().registry.unique_name();
    } while (host().temp.is_assigned(name));
  }
  const wrcode rc = host().temp.assign(name);
  if (rc == kSuccess) std::memcpy(logicalname, name.data(), name.size());
  return rc;
}

wrcode Services::yxrdasg(char* logicalname, rebid) {
  return host().temp.deassign(name_at(logicalname));
}

wrcode Services::yxrinfo(ptr, char* logicalname, rebid, int, ptr, WX_INFOPARM* infoparm) {
  std::string* path = host().temp.path_of(name_at(logicalname));
  if (path == nullptr) return kNotAssigned;
  infoparm->pname = path->data();
  infoparm->namelen = static_cast<int>(path->size());
  std::memcpy(infoparm->devtype, "TEMP    ", sizeof infoparm->devtype);
  infoparm->flag |= kInfoFile;
  return kSuccess;
}

wrcode Services::yxropen(HOST_FILE** file, char* logicalname, rebid, WX_OPENPARM* openparm) {
  return host().temp.open(file, name_at(logicalname), *openparm);
}

wrcode Services::yxclose(HOST_FILE* file) {
  return host().temp.close(file);
}

wrcode Services::yxatoki(XXTOKEN* cursor) {
  *cursor = {};
  return kSuccess;
}

wrcode Services::yxatok(int, ptr sourcetrack, XXTOKEN* cursor) {
  return static_cast<OptionSource*>(sourcetrack)->next(*cursor);
}

wrcode Services::yxatokt(XXTOKEN*) {
  return kSuccess;
}

wrcode Services::yhqblot(rebid, TOKEN* token) {
  OptionSource* source = host().options_being_read;
  if (source != nullptr) {
    source->blot(token);
    host().toolkit.launch.blot.add(source->value_of(token));
  }
  return kSuccess;
}

wrcode Services::wzrlchr(const tchar* text, int length, int, int* used, long* value) {
  const char* end = text + length;
  const char* start = length > 0 && *text == '+' ? text + 1 : text;
  const auto [stop, error] = std::from_chars(start, end, *value);
  *used = static_cast<int>(stop - text);
  return error == std::errc() && stop == end ? kSuccess : kNotANumber;
}

wrcode Services::wztxcei(int, const tchar* text, int length, u_cei* encoding) {
  const u_cei found = host().text.encoding({text, static_cast<std::size_t>(length)});
  if (found == U_INVALID_CE) return kUnknownEncoding;
  *encoding = found;
  return kSuccess;
}

// Characters come and go in the session encoding, so that converting them is copying them.
wrcode copy_text(const tchar* source, int length, tchar* target, int capacity) {
  if (length > capacity) return kBadEncoding;
  std::memmove(target, source, static_cast<std::size_t>(length));
  return kSuccess;
}

wrcode Services::wzsxcch(const tchar* source, int length, tchar* target, int capacity, int) {
  return copy_text(source, length, target, capacity);
}

wrcode Services::wzsxrch(const tchar* source, int length, tchar* target, int capacity, int) {
  return copy_text(source, length, target, capacity);
}

wrcode Services::wzstrlo(tchar* text, int length) {
  host().text.to_lower(text, static_cast<std::size_t>(length));
  return kSuccess;
}

wrcode Services::wzstrup(tchar* text, int length) {
  host().text.to_upper(text, static_cast<std::size_t>(length));
  return kSuccess;
}

wrcode Services::wttimer(long milliseconds, int, ptr) {
  if (host().on_pause) host().on_pause(milliseconds);
  host().toolkit.pause(std::chrono::milliseconds(milliseconds));
  return kSuccess;
}

}  // namespace
}  // namespace fileref::runtime
