// A host in one file: loads the access-method module and has it read or write one remote file.
//   host read /data/in.csv HOST=srv USER=me
//   host write /data/out.csv 'OPTIONS=-D /usr/lib/openssh/sftp-server' < out.csv
// Its records are lines. docs/host.md tells why it does what it does.
#include <dlfcn.h>
#include <fileref/host/module.h>
#include <fileref/host/options.h>
#include <fileref/host/services.h>
#include <fileref/launch.h>
#include <unistd.h>

#include <cstdarg>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

AMMCB* method;                     // the module's block
std::string attached;              // to the failure under way
std::string trouble;               // what the launch layer knows of it
std::vector<std::string> secrets;  // values of OPTIONSX
std::string scratch;               // our directory for temporary files
std::string kept;                  // what is being sent, until it has arrived

std::string text_at(const void* text, long length) {
  return {static_cast<const char*>(text), static_cast<std::size_t>(length)};
}

template <class To, class Value>
int give(To* to, Value value) {
  *to = value;
  return 0;
}

// Every block is zeroed, whatever the flags ask for.
POOL heap{[](POOL*, long length, long) { return std::calloc(1, length); },
          [](POOL*, ptr block, long, long) { std::free(block); }};

struct Token : TOKEN {
  short type;
  std::string text;
};

// KEYWORD or KEYWORD=VALUE, as tokens that the module may point at; the last is the end.
std::vector<Token> tokens_of(const std::string& option) {
  const std::size_t equals = std::min(option.find('='), option.size());
  const std::string value = option.substr(std::min(equals + 1, option.size()));
  std::vector<Token> tokens = {{{}, kTokenName, option.substr(0, equals)},
                               {{}, kTokenOther, option.substr(equals, 1)},
                               {{}, kTokenQuoted, "'" + value + "'"},
                               {}};
  const bool is_number = value.find_first_not_of("0123456789") == value.npos;
  if (is_number && !value.empty()) tokens[2] = {{}, kTokenNumber, value};
  for (Token& token : tokens) token.original = token.text.data();
  return tokens;
}

// The method TEMP: names that stand for files in `scratch`, whose records are lines.
std::map<std::string, std::string> temporaries;  // path by name

struct TemporaryFile : HOST_FILE {
  std::fstream stream;
  std::string record;
  WX_AMVEC lines{this, &read, &write, nullptr, nullptr, nullptr, nullptr, {}};

  TemporaryFile(const std::string& path, std::ios::openmode mode)
      : HOST_FILE{this, &lines, nullptr}, stream(path, mode) {}
  static wrcode read(ptr file, ptr* start, long* length, tchar*) {
    auto* self = static_cast<TemporaryFile*>(file);
    const bool ended = !std::getline(self->stream, self->record);
    if (ended) return self->stream.bad() ? kTempFailure : kEndOfFile;
    *start = self->record.data();
    return give(length, static_cast<long>(self->record.size()));
  }
  static wrcode write(ptr file, ptr start, long length, tchar) {
    auto& stream = static_cast<TemporaryFile*>(file)->stream;
    return stream << text_at(start, length) << '\n' ? kSuccess : kTempFailure;
  }
};

TKStatus start_client(TKExtensionh, const LSLaunchParams_S* parms, const char*, TKJnlh,
                      LSProcessp* process) {
  fileref::LaunchRequest request;
  request.command_line = reinterpret_cast<const char*>(parms->szCommand);
  request.secrets = secrets;
  request.trouble = [](auto& explanation, auto& words) { trouble = explanation + "\n" + words; };
  request.keep_unsent = [](const std::string&) { return kept; };
  *process = fileref::launch(std::move(request), &trouble);
  return *process != nullptr ? kSuccess : kProcessFailed;
}

// The toolkit, one object of each kind. Only `start_client` reads what is transcoded.
constexpr auto keep = [](TKGeneric*) { return 0; };
TKPool_S pool{{nullptr, "pool", keep}, [](TKPool_S*, TKMemSize size, TKFlags) {
                return heap.alloc(&heap, static_cast<long>(size), kHeapZeroed);
              }};
TKJnl_S journal{{nullptr, "journal", keep}};
TKELS_S launcher{{{nullptr, "tkels", keep}}, &start_client};
TKNLSPipeline_S pipeline{{nullptr, "pipeline", keep},
                         [](auto, auto source, auto length, auto target, auto, auto written, auto) {
                           std::memcpy(target, source, length);
                           return give(written, length);
                         }};
TKNLS_S nls{{}, [](auto...) { return &pipeline; }};
TK_HNDL_S toolkit{[](auto...) { return &pool; }, [](auto...) { return &journal; },
                  [](auto...) { return &launcher.extension; }, &nls};

// All that services.def lists. What takes a name of eight characters needs no more than those.
struct Services {
  static POOL* yymheap() { return &heap; }
  // A private pool is the heap: what was left in one goes when this process does.
  static POOL* ympoolc(long, long, long) { return &heap; }
  static wrcode wmpoold(POOL*) { return 0; }
  static wrcode yyrngef(const char*, int option, int, int, ptr, double* on, unsigned*, TASKCTX*) {
    return option == kHostOptionXcmd ? give(on, 1.0) : kUnknownHostOption;
  }
  static wrcode yyrn6gf(int option, int, long* value, unsigned* attr, TASKCTX*) {
    *attr = kOriginSystem;
    return option == kHostOptionRecordLength ? give(value, 32767) : kUnknownHostOption;
  }
  // No catalogue and no log: what the launch layer tells says more.
  static int ypmstr(char*, int, int, int, ...) { return 0; }
  static wrcode ypmlog(int, int, ...) { return 0; }
  // Of two values the first is the length of the second: the last is a text in either case.
  static wrcode wrmksub(int count, ...) {
    va_list values;
    va_start(values, count);
    for (; count > 0; --count) {
      const char* value = va_arg(values, const char*);
      attached = fileref::unescape_name(text_at(value, va_arg(values, int)).c_str());
    }
    va_end(values);
    return 0;
  }
  static wrcode yxam2am(const char*, AMMCB** found, rebid) { return give(found, method); }
  static wrcode yxamscp(const char*, AMMCB** found, rebid) { return give(found, method); }
  static wrcode yxal2am(const char*, rebid, AMMCB** found) { return give(found, method); }
  static wrcode yxaunql(char*, rebid) { return kNotSupported; }
  static wrcode yxrasgn(char* name, rebid, const char*, char*, int, ptr) {
    static int counter = 10'000'000;
    std::memcpy(name, std::to_string(++counter).data(), 8);
    temporaries[text_at(name, 8)] = scratch + "/" + text_at(name, 8);
    return 0;
  }
  static wrcode yxrdasg(char* name, rebid) {
    std::remove(temporaries.at(text_at(name, 8)).c_str());
    return temporaries.erase(text_at(name, 8)) == 1 ? kSuccess : kNotAssigned;
  }
  static wrcode yxrinfo(ptr, char* name, rebid, int, ptr, WX_INFOPARM* info) {
    std::string& path = temporaries.at(text_at(name, 8));
    info->pname = path.data();
    return give(&info->namelen, static_cast<int>(path.size()));
  }
  static wrcode yxropen(HOST_FILE** file, char* name, rebid, WX_OPENPARM* parms) {
    if ((parms->recfm & kRecfmVariable) == 0) return kBadRecord;
    const auto mode = (parms->openmode & kOpenInput) != 0 ? std::ios::in : std::ios::out;
    auto opened = std::make_unique<TemporaryFile>(temporaries.at(text_at(name, 8)), mode);
    return opened->stream ? give(file, opened.release()) : kTempFailure;
  }
  // A file that could not be written to its end stays open, and so is not sent.
  static wrcode yxclose(HOST_FILE* file) {
    auto* self = static_cast<TemporaryFile*>(file);
    if (self->stream.flush().bad()) return kTempFailure;
    delete self;
    return 0;
  }
  static wrcode yxatoki(XXTOKEN* cursor) { return give(cursor, XXTOKEN{}); }
  static wrcode yxatok(int, ptr option, XXTOKEN* cursor) {
    auto* token = static_cast<Token*>(cursor->atoken);
    token = token == nullptr ? static_cast<std::vector<Token>*>(option)->data() : token + 1;
    const auto length = static_cast<short>(token->text.size());
    return give(cursor, XXTOKEN{token->type, 0, token->text.data(), length, 0, token});
  }
  static wrcode yxatokt(XXTOKEN*) { return 0; }
  static wrcode yhqblot(rebid, TOKEN* token) {
    const std::string& quoted = static_cast<Token*>(token)->text;
    secrets.push_back(quoted.substr(1, quoted.size() - 2));
    return 0;
  }
  static wrcode wzrlchr(const tchar* s, int, int, int*, long* n) { return give(n, std::atol(s)); }
  static wrcode wztxcei(int, const tchar*, int, u_cei*) { return kUnknownEncoding; }
  static wrcode wzsxcch(const tchar*, int, tchar*, int, int) { return kNotSupported; }
  static wrcode wzsxrch(const tchar*, int, tchar*, int, int) { return kNotSupported; }
  static wrcode wzstrlo(tchar*, int) { return kNotSupported; }
  static wrcode wzstrup(tchar* text, int length) {
    for (int i = 0; i < length; ++i)
      text[i] = static_cast<tchar>(std::toupper(static_cast<tuchar>(text[i])));
    return 0;
  }
  static wrcode wttimer(long, int, ptr) { return 0; }  // the process object waits by itself
};

TASK task;
REB request{&heap, &task};
TASKCTX context{&request};

// What the module reaches. Texts are UTF-8, so it asks for capital letters and has no tables.
ptr* anchor() {
  static HostSlot slots[service::kVectors][service::kSlots];
  static const HostSlot* vectors[service::kVectors];
  static unsigned char status[service::kVectors];
  static HOST_CALL call;
  static WZ_SESSION session{1};
  static YAKGCBSTR global{nullptr, nullptr, &session, {}};
  static ptr record[kAnchorElements] = {vectors, status, &heap, &toolkit, &task, &global, &call};
  for (int i = 0; i < service::kVectors; ++i) vectors[i] = slots[i];
#define SERVICE(NAME, VECTOR, SLOT, RESULT, PARAMETERS) \
  slots[VECTOR][SLOT] =                                 \
      reinterpret_cast<HostSlot>(static_cast<service::NAME::Fn*>(&Services::NAME));
#include <fileref/host/services.def>
#undef SERVICE
  task.context = &context;
  return record;
}

rctype load_module() {
  void* image = dlopen(FILEREF_MODULE, RTLD_NOW | RTLD_LOCAL);
  void* connect = image != nullptr ? dlsym(image, "mcn_main") : nullptr;
  if (connect == nullptr) attached = dlerror();
  rctype rc = kUnknownMethod;
  if (connect == nullptr) return rc;
  reinterpret_cast<ModuleConnectFn*>(connect)(anchor(), nullptr)->pgmcons[0]->ep(&method, &rc);
  return rc;
}

char fileref_name[] = "FILE    ", method_name[] = "SFTP    ";

// One call for each option; the first makes the block.
rctype parse(char** options, ptr* block) {
  const auto amparse = method->ament->amparse.entryp;
  rctype rc = kSuccess;
  for (int taken = 0; rc == kSuccess && *options != nullptr; ++options) {
    std::vector<Token> tokens = tokens_of(*options);
    rc = amparse(fileref_name, &request, method_name, 0, &tokens, &taken, block);
  }
  return rc;
}

rctype read_lines(ptr file) {
  ptr record = nullptr;
  long length = 0;
  tchar cc = 0;
  rctype rc = kSuccess;
  while ((rc = method->ament->amread.entryp(file, &record, &length, &cc)) == kSuccess) {
    std::cout << text_at(record, length) << '\n';
  }
  return plain_code(rc) == kEndOfFile ? kSuccess : rc;
}

// Before the close, which sends them, they get a second name: the first goes with the file.
rctype write_lines(ptr file) {
  rctype rc = kSuccess;
  for (std::string line; rc == kSuccess && std::getline(std::cin, line);) {
    rc = method->ament->amwrite.entryp(file, line.data(), static_cast<long>(line.size()), ' ');
  }
  if (rc != kSuccess || std::ferror(stdin) != 0) return rc != kSuccess ? rc : kFailed;
  return link(temporaries.begin()->second.c_str(), kept.c_str()) == 0 ? kSuccess : kFailed;
}

rctype transfer(bool input, std::string name, char** options) {
  const AMENT& entries = *method->ament;
  ptr block = nullptr, file = nullptr;
  rctype rc = parse(options, &block);
  if (rc != kSuccess) return rc;
  rc = entries.amasgn.entryp(fileref_name, &request, method_name, name.data(), name.size(), block);
  if (rc != kSuccess) return rc;
  WX_OPENPARM parms{};
  parms.openmode = input ? kOpenInput : kOpenOutput;
  rc = entries.amopen.entryp(&file, fileref_name, &request, &parms);
  if (rc == kSuccess) rc = input ? read_lines(file) : write_lines(file);
  if (file == nullptr || (rc != kSuccess && !input)) return rc;  // a close would send half of it
  const rctype closed = entries.amclose.entryp(file);
  if (closed == kSuccess) std::remove(kept.c_str());
  return rc != kSuccess ? rc : closed;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc >= 4 ? argv[1] : "";
  if (mode != "read" && mode != "write") {
    std::cerr << "usage: host read|write PATH OPTION[=VALUE]...\n";
    return 2;
  }
  scratch = mkdtemp(std::string("/tmp/host-XXXXXX").data());
  kept = scratch + "/unsent";
  rctype rc = load_module();
  if (rc == kSuccess) rc = transfer(mode == "read", fileref::escape_name(argv[2]), argv + 3);
  if (rc != kSuccess) std::cerr << attached << " (" << std::hex << rc << ")\n" << trouble << '\n';
  if (method != nullptr) method->ament->amdasgn.entryp(fileref_name, &request);  // ends the session
  for (const auto& [name, path] : temporaries) std::remove(path.c_str());
  std::remove(scratch.c_str());  // unless something is kept there
  return rc == kSuccess && std::cout.flush() ? 0 : 1;
}
