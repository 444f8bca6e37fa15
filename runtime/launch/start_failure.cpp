#include "runtime/launch/start_failure.h"

#include "runtime/launch/line_buffer.h"

namespace fileref::runtime {
namespace {

struct Cause {
  const char* said;
  const char* advice;
};

constexpr const char* kNoSuchHost =
    "no host of that name is known: check how it is spelled, and the name service";
constexpr const char* kNoRoute = "there is no way from here to that host: check the network";
constexpr const char* kSilent =
    "the host does not answer: check host and port, and whether a firewall is in the way";
constexpr const char* kOtherHostKey =
    "the host shows another key than it used to: if there is a good reason, forget the old key "
    "(ssh-keygen -R HOST) and connect once by hand";
constexpr const char* kNewHostKey =
    "the key of the host is not known here: connect once by hand, compare the key and accept it";
constexpr const char* kNoSuchKeyFile =
    "the file of the login key cannot be read: check the file that OPTIONS names";
constexpr const char* kKeyRefused =
    "the login was refused: check the user name and the key (OPTIONS='-i FILE'); where there is no "
    "terminal to ask on, a key with a passphrase needs an agent (ssh-add), and a password cannot "
    "be asked for";
constexpr const char* kPasswordRefused =
    "the login was refused: check user name and password; where there is no terminal to ask on, "
    "use a key that needs no answer (OPTIONS='-i FILE')";
constexpr const char* kNoSftp =
    "the server has no SFTP service: have it switched on, or name its file server program "
    "(OPTIONS='-s /usr/lib/openssh/sftp-server')";
constexpr const char* kNoise =
    "something else than SFTP arrives, most likely what the login shell prints: let its start-up "
    "files (.bashrc) print nothing when it is not interactive";
constexpr const char* kNoSshServer =
    "what listens at that port hung up at once: check the port, and whether the server lets you "
    "in; after wrong keys, or with too many logins at a time, it does not for a while";
constexpr const char* kWrongOption = "the client does not know a word of OPTIONS: check them";
constexpr const char* kNoAlgorithm =
    "this client and the server have no algorithm in common: the client says which the server "
    "offers; allow one (OPTIONS='-o Ciphers=+NAME', KexAlgorithms, HostKeyAlgorithms), or have the "
    "server updated";

// The first that was said counts, wherever in a line it stands.
constexpr Cause kCauses[] = {
    {"Could not resolve hostname", kNoSuchHost},
    {"ssh_init: Name or service not known", kNoSuchHost},
    {"Temporary failure in name resolution", kNoSuchHost},
    {"Connection refused",
     "nothing listens at that host and port: check both, and whether the SSH server runs"},
    {"Network is unreachable", kNoRoute},
    {"No route to host", kNoRoute},
    {"timed out", kSilent},
    {"REMOTE HOST IDENTIFICATION HAS CHANGED", kOtherHostKey},
    {"POTENTIAL SECURITY BREACH", kOtherHostKey},
    {"Host key not in manually configured list", kOtherHostKey},
    {"Host key verification failed", kNewHostKey},
    {"host key is not cached", kNewHostKey},
    {"UNPROTECTED PRIVATE KEY FILE",
     "the file of the login key is open to others, so it is not used: chmod 600 it"},
    {"no such identity: ", kNoSuchKeyFile},
    {"not accessible: No such file", kNoSuchKeyFile},
    {"PuTTY key format too new",
     "the key file is in a format that this psftp does not know yet: convert it "
     "(puttygen FILE --reencrypt --ppk-param version=2 -o NEW), or install a newer psftp"},
    {"Unable to use key file", kNoSuchKeyFile},
    {"is not a valid format for a manual host key specification",
     "psftp does not take the host key in that form: give it as ssh-keygen -l -f FILE shows it; up "
     "to 0.74 psftp wants the MD5 fingerprint, -hostkey 01:23:... (ssh-keygen -l -E md5 -f FILE, "
     "without MD5:)"},
    {"Permission denied, please try again", kPasswordRefused},
    {"Configured password was not accepted", kPasswordRefused},
    {"Cannot answer interactive prompts", kPasswordRefused},
    {"Too many authentication failures",
     "the server gave up before the right key was offered: offer that one only "
     "(OPTIONS='-i FILE -o IdentitiesOnly=yes')"},
    {"Permission denied (", kKeyRefused},
    {"No supported authentication methods available", kKeyRefused},
    {"subsystem request failed", kNoSftp},
    {"Received message too long", kNoise},
    {"unable to initialise SFTP", kNoise},
    {"kex_exchange_identification", kNoSshServer},
    {"Connection reset by peer", kNoSshServer},
    {"Connection closed by ", kNoSshServer},
    {"Remote side unexpectedly closed network connection", kNoSshServer},
    {"Bad configuration option", kWrongOption},
    {"unknown option", kWrongOption},
    {"line 0: Bad ", kWrongOption},
    {"line 0: invalid ", kWrongOption},
    {"line 0: unsupported option", kWrongOption},
    {"Unknown cipher type", kWrongOption},
    {"Can't open user config file", "the file behind -F cannot be read: check its name"},
    {"Unable to negotiate with", kNoAlgorithm},
    {"exec: ", "the client cannot run a program that it needs: install it, or check OPTIONS"},
};

}  // namespace

bool says_host_is_unknown(std::string_view words) {
  while (!words.empty()) {
    const std::string_view line = take_line(&words);
    const auto says = [&](std::string_view text) { return line.find(text) != line.npos; };
    if ((says("Could not resolve hostname") || says("Name or service not known")) &&
        !says("Temporary failure in name resolution")) {
      return true;
    }
  }
  return false;
}

std::string explain_start_failure(std::string_view words) {
  for (const Cause& cause : kCauses) {
    if (words.find(cause.said) != words.npos) return cause.advice;
  }
  return {};
}

Answer explained_start_failure(Answer failure, std::string_view words) {
  if (failure.status != kEndOfOutput) return failure;
  const std::string cause = explain_start_failure(words);
  if (!cause.empty()) failure.explanation = cause;
  if (says_host_is_unknown(words)) {
    return {kSuccess, "host does not exist\n", std::move(failure.explanation), true};
  }
  return failure;
}

}  // namespace fileref::runtime
