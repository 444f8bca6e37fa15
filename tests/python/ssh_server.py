"""A real SSH server on a loopback port, with keys made for it, as an ordinary user."""

import os
import pwd
import shutil
import socket
import subprocess
import time
from pathlib import Path


def _free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


class SshServer:
    """`root` is the login directory; what is put there must be given to the server's user."""

    def __init__(self, directory):
        self.directory = Path(directory)
        self.port = _free_port()
        as_root = os.geteuid() == 0
        self.user = "nobody" if as_root else pwd.getpwuid(os.geteuid()).pw_name
        self.root = self.directory / "files"
        self.root.mkdir()
        for key in ("host_key", "user_key"):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", self.file(key)], check=True)
        shutil.copy(self.file("user_key.pub"), self.file("authorized_keys"))
        host_key = Path(self.file("host_key.pub")).read_text()
        Path(self.file("known_hosts")).write_text(f"[127.0.0.1]:{self.port} {host_key}")
        Path(self.file("config")).write_text(
            f"ListenAddress 127.0.0.1\nPort {self.port}\nHostKey {self.file('host_key')}\n"
            f"AuthorizedKeysFile {self.file('authorized_keys')}\nUsePAM yes\nStrictModes no\n"
            f"PidFile none\nMaxStartups 100\nSubsystem sftp internal-sftp -d {self.root}\n"
        )
        words = ["/usr/sbin/sshd", "-D", "-e", "-f", self.file("config")]
        if as_root:
            Path("/run/sshd").mkdir(mode=0o755, exist_ok=True)
            words = ["setpriv", "--reuid", "nobody", "--regid", "nogroup", "--clear-groups", *words]
        self.give()
        self._log = open(self.file("log"), "wb")
        self._server = subprocess.Popen(words, stderr=self._log)
        self._wait()

    def _wait(self):
        for _ in range(200):
            with socket.socket() as connection:
                if connection.connect_ex(("127.0.0.1", self.port)) == 0:
                    return
            time.sleep(0.05)
        raise RuntimeError(Path(self.file("log")).read_text())

    def give(self):
        """Gives all files to the server's user."""
        if os.geteuid() == 0:
            subprocess.run(["chown", "-R", self.user, self.directory], check=True)

    def file(self, name):
        return str(self.directory / name)

    def words(self):
        """For the command line of ssh, sftp and their like."""
        return ["-F", "none", "-o", "IdentitiesOnly=yes", "-o", "IdentityAgent=none",
                "-i", self.file("user_key"), "-o", f"UserKnownHostsFile={self.file('known_hosts')}"]  # fmt: skip

    def options(self):
        return f"OPTIONS='{' '.join(self.words())}'"

    def url(self, name="", scheme="sftp"):
        return f"{scheme}://{self.user}@127.0.0.1:{self.port}{self.root}/{name}"

    def logins(self):
        return Path(self.file("log")).read_text().count("Accepted publickey")

    def close(self):
        self._server.terminate()
        self._server.wait()
        self._log.close()
