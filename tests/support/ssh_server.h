// A real SSH server on a loopback port, with keys made for it, as an ordinary user.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/process.h"

namespace support {

// A port that is free at the moment, and refuses connections until somebody takes it.
inline int free_port() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  bind(listener, reinterpret_cast<sockaddr*>(&address), length);
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
  close(listener);
  return ntohs(address.sin_port);
}

class SshServer {
 public:
  // Whose files are served, and by which program.
  enum class Serves {
    kOrdinaryUser,  // the server's own, to nobody when the tests run as root
    kCommand,       // what `serve` says, to the user who runs the tests
  };

  // Files below `root()` belong to the server's user.
  // It asks PAM about the account because an ordinary user cannot look it up.
  explicit SshServer(Serves serves = Serves::kOrdinaryUser) : port_(free_port()) {
    const bool root_runs = geteuid() == 0 && serves == Serves::kOrdinaryUser;
    const passwd* user = root_runs ? getpwnam("nobody") : getpwuid(geteuid());
    user_ = user->pw_name;
    uid_ = user->pw_uid;
    gid_ = user->pw_gid;
    mkdir("/run/sshd", 0755);  // the server wants it there
    fs::create_directory(root());
    for (const char* key : {"host_key", "user_key", "other_key"}) {
      run({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", file(key)});
    }
    fs::copy_file(file("user_key.pub"), file("authorized_keys"));
    write_file(file("known_hosts"),
               "[127.0.0.1]:" + std::to_string(port_) + " " + read_file(file("host_key.pub")));
    write_file(file("config"),
               "ListenAddress 127.0.0.1\nPort " + std::to_string(port_) + "\nHostKey " +
                   file("host_key") + "\nAuthorizedKeysFile " + file("authorized_keys") +
                   "\nUsePAM yes\nStrictModes no\nPidFile none\n"
                   "PasswordAuthentication no\nKbdInteractiveAuthentication no\n"
                   "Subsystem sftp " +
                   (serves == Serves::kCommand ? "sh " + file("serve")
                                               : "internal-sftp -d " + root().string()) +
                   "\n");
    give_to_user(directory_.path());
    std::vector<std::string> words;
    if (root_runs) {
      words = {"setpriv",       "--reuid", std::to_string(uid_), "--regid", std::to_string(gid_),
               "--clear-groups"};
    }
    for (const char* word : {"/usr/sbin/sshd", "-D", "-e", "-f"}) words.emplace_back(word);
    words.push_back(file("config"));
    server_ = std::make_unique<Program>(words, "", Program::Environment{});
    if (!eventually([this] { return accepts(); })) throw std::runtime_error("no SSH server");
  }
  ~SshServer() {
    kill(server_->pid(), SIGTERM);
    server_->wait();
  }

  pid_t pid() const { return server_->pid(); }
  int port() const { return port_; }
  // The login directory.
  fs::path root() const { return directory_ / "files"; }
  std::string url(const std::string& name) const {
    return "sftp://" + user_ + "@127.0.0.1:" + std::to_string(port_) + (root() / name).string();
  }
  // Of its own: keys, lists of known hosts.
  std::string file(const std::string& name) const { return directory_ / name; }
  // For -o: the key to log in with and where host keys are known from.
  std::string options(const std::string& key = "user_key",
                      const std::string& known_hosts = "known_hosts") const {
    return "OPTIONS='-F none -o IdentitiesOnly=yes -o IdentityAgent=none -i " + private_key(key) +
           " -o UserKnownHostsFile=" + file(known_hosts) + "'";
  }
  // For new sessions of a server that serves a command.
  void serve(const std::string& command) const { write_file(file("serve"), "exec " + command); }
  // The command line of each client.
  std::string sftp() const {
    return "sftp -F none -o BatchMode=yes -o IdentitiesOnly=yes -o IdentityAgent=none -i " +
           private_key("user_key") + " -o UserKnownHostsFile=" + file("known_hosts") + where();
  }
  std::string psftp() const { return "psftp " + psftp_words() + where(); }
  std::string options_for_psftp() const { return "PATH='psftp' OPTIONS='" + psftp_words() + "'"; }
  // The words for the bare client.
  std::vector<std::string> client_words() const {
    return {"sftp", "-q",
            "-F",   "none",
            "-o",   "IdentitiesOnly=yes",
            "-o",   "IdentityAgent=none",
            "-i",   private_key("user_key"),
            "-o",   "UserKnownHostsFile=" + file("known_hosts"),
            "-P",   std::to_string(port_)};
  }
  void give_to_user(const fs::path& path) const {
    if (geteuid() != 0) return;
    lchown(path.c_str(), uid_, gid_);
    if (!fs::is_directory(path)) return;
    for (const auto& entry : fs::recursive_directory_iterator(path)) {
      lchown(entry.path().c_str(), uid_, gid_);
    }
  }

 private:
  std::string where() const { return " -P " + std::to_string(port_) + ' ' + user_ + "@127.0.0.1"; }
  // Keys given to the server's user are still ours to use: root may read them.
  std::string private_key(const std::string& key) const { return file(key); }
  std::string psftp_words() const {
    const std::string key = file("user_key.ppk");
    run({"puttygen", file("user_key"), "-O", "private", "-o", key});
    std::istringstream words(run({"ssh-keygen", "-lf", file("host_key.pub")}).out);
    std::string bits, hash;
    words >> bits >> hash;
    return "-batch -noagent -i " + key + " -hostkey " + hash;
  }
  bool accepts() const {
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port_));
    const bool good =
        connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(connection);
    return good;
  }

  TestDirectory directory_;
  int port_;
  std::string user_;
  uid_t uid_ = 0;
  gid_t gid_ = 0;
  std::unique_ptr<Program> server_;
};

}  // namespace support
