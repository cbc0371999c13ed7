"""The servers that bench/frontends compares, and what it sees of them from outside."""
import atexit
import os
import re
import socket
import subprocess
import tempfile
import time

FOLDER = tempfile.TemporaryDirectory()


def in_folder(name, text=""):
    """The path of a file with that text, which goes when the script ends."""
    path = os.path.join(FOLDER.name, name)
    with open(path, "w") as file:
        file.write(text)
    return path


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return listener.getsockname()[1]


class Server:
    """A server process with its children, started when it is made."""

    def __init__(self, port, command):
        self.port = port
        self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        atexit.register(self.stop)
        while True:
            try:
                return self.connect().close()
            except ConnectionRefusedError:
                assert self.process.poll() is None, f"{command} did not start"
                time.sleep(0.05)

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port))

    def url(self, path):
        return f"http://127.0.0.1:{self.port}{path}"

    def processes(self):
        pid = self.process.pid
        children = open(f"/proc/{pid}/task/{pid}/children").read().split()
        return [str(pid)] + children

    def processor_seconds(self):
        # As clock_getcpuclockid() makes the clock of a process.
        return sum(time.clock_gettime(~int(pid) << 3 | 2) for pid in self.processes())

    def resident_kib(self):
        status = [open(f"/proc/{pid}/status").read() for pid in self.processes()]
        return sum(int(re.search(r"VmRSS:\s+(\d+)", s).group(1)) for s in status)

    def stop(self):
        self.process.terminate()
        self.process.wait()


def ours(build, access_log=None, application="pageapplication", settings="", under=()):
    """access_log: its format, if there is to be one; settings: more of [WebContainer]; under: the words of a command
    that runs the server."""
    port = free_port()
    log = f'[AccessLog]\nFile = "{in_folder("access.log")}"\nFormat = "{access_log}"\n' if access_log else ""
    config = in_folder(f"{port}.toml", "[WebContainer]\nMaxConnections = 20000\nMaxConnectionsPerClient = 0\n"
                                       f"MaxRequestsPerConnection = 1000000000\n{settings}"
                                       f'[Admin]\nListen = ""\n{log}')
    return Server(port, [*under, f"{build}/bin/webcontainer", "--config", config, "--app",
                         f"{build}/lib/lib{application}.so", "--listen", f"127.0.0.1:{port}"])


def nginx():
    """Constant pages of 1 KiB, /16k and /64k."""
    port = free_port()
    return Server(port, ["nginx", "-c", in_folder(f"{port}.conf", f"""
daemon off; worker_processes {os.cpu_count()}; pid {FOLDER.name}/nginx.pid; error_log /dev/null;
events {{ worker_connections 20000; }}
http {{ access_log off; keepalive_requests 100000000; server {{ listen 127.0.0.1:{port};
default_type text/html; expires 60s; add_header Last-Modified "Tue, 14 Nov 2023 22:13:20 GMT";
set $k "{"x" * 1024}"; location / {{ return 200 $k; }}
location /16k {{ return 200 "{"$k" * 16}"; }} location /64k {{ return 200 "{"$k" * 64}"; }} }} }}""")])


def beast(build):
    port = free_port()
    return Server(port, [f"{build}/bin/beastserver", str(port)])


def plain(build, *mode):
    port = free_port()
    return Server(port, [f"{build}/bin/plainserver", str(port), *mode])
