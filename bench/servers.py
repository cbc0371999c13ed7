"""The servers that bench/frontends and script/strictness compare, and what is seen of them from outside."""
import atexit
import os
import re
import shutil
import socket
import socketserver
import subprocess
import tempfile
import threading
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


def configured(config, command, backend=0, options=""):
    """A server with a configuration in which PORT, BACKEND, OPTIONS and FOLDER stand for what they are. The last
    word of the command is the configuration's file."""
    port = free_port()
    for name, value in (("PORT", port), ("BACKEND", backend), ("OPTIONS", options), ("FOLDER", FOLDER.name)):
        config = config.replace(name, str(value))
    return Server(port, [*command, in_folder(f"{port}.conf", config)])


def modules(program):
    """The folder of the modules that have been packed with a program."""
    return f"{os.path.dirname(os.path.dirname(shutil.which(program)))}/lib/{program}"


class EchoHandler(socketserver.StreamRequestHandler):
    """Answers a request with what it is, in the field Saw and in the body, and ends the connection."""

    def read(self, size):
        data = self.rfile.read(size)
        if len(data) < size:
            raise EOFError
        return data

    def line(self):
        line = self.rfile.readline().decode("latin-1")
        if not line.endswith("\n"):
            raise EOFError
        return line.strip()

    def body_length(self, fields):
        if fields.get("transfer-encoding", "").lower() != "chunked":
            length = int(fields.get("content-length", 0))
            return len(self.read(length)) if length < 1 << 63 else length
        length = 0
        while size := int(self.line().split(";")[0], 16):
            length += len(self.read(size + 2)) - 2
        while self.line():
            pass
        return length

    def handle(self):
        method, target, _ = self.line().split(" ", 2)
        lines = (line.partition(":") for line in iter(self.line, ""))
        fields = {name.lower(): value.strip() for name, _, value in lines}
        if "expect" in fields:
            self.wfile.write(b"HTTP/1.1 100 Continue\r\n\r\n")
        saw = f"{method} {target[:99]} +{self.body_length(fields)}".encode("latin-1")
        self.wfile.write(b"HTTP/1.1 200 OK\r\nConnection: close\r\nSaw: %s\r\nContent-Length: %d\r\n\r\n%s"
                         % (saw, len(saw), b"" if method == "HEAD" else saw))


class Echo(socketserver.ThreadingTCPServer):
    """A backend for proxies, in threads of this process."""
    request_queue_size, daemon_threads = 1024, True

    def __init__(self):
        super().__init__(("127.0.0.1", 0), EchoHandler)
        self.port = self.server_address[1]
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def handle_error(self, *_):
        pass  # the proxy has gone, or forwards what cannot be read: it has to say so itself


def haproxy_proxy(backend, options=""):
    return configured("""defaults
    mode http
    retries 0
    timeout connect 10s
    timeout client 10s
    timeout server 10s
listen proxy
    bind 127.0.0.1:PORT
    server backend 127.0.0.1:BACKEND OPTIONS
""", ["haproxy", "-db", "-f"], backend, options)


def nginx_proxy(backend):
    return configured("""daemon off; user root; pid FOLDER/nginx.pid; error_log /dev/null; events { }
http { access_log off; client_body_temp_path FOLDER/body; proxy_temp_path FOLDER/proxy; fastcgi_temp_path FOLDER/fast;
uwsgi_temp_path FOLDER/uwsgi; scgi_temp_path FOLDER/scgi;
server { listen 127.0.0.1:PORT; location / { proxy_pass http://127.0.0.1:BACKEND; } } }
""", ["nginx", "-e", "/dev/null", "-c"], backend)


def apache_proxy(backend):
    loads = "".join(f"LoadModule {name}_module {modules('apache2')}/modules/mod_{name}.so\n"
                    for name in ("mpm_event", "authz_core", "proxy", "proxy_http"))
    return configured(loads + """ServerName h
Listen 127.0.0.1:PORT
PidFile FOLDER/apache.pid
DefaultRuntimeDir FOLDER
ErrorLog /dev/null
User www-data
Group www-data
ProxyPass / http://127.0.0.1:BACKEND/ nocanon disablereuse=on
""", ["apache2", "-DFOREGROUND", "-d", FOLDER.name, "-f"], backend)


def lighttpd_proxy(backend):
    return configured("""server.modules = ("mod_proxy")
server.bind = "127.0.0.1"
server.port = PORT
server.document-root = "FOLDER"
server.errorlog = "/dev/null"
proxy.server = ("" => (("host" => "127.0.0.1", "port" => BACKEND)))
""", ["lighttpd", "-D", "-m", modules("lighttpd"), "-f"], backend)


def node():
    """Answers as Echo does."""
    return configured("""require('http').createServer((q, s) => {
    let n = 0;
    q.on('data', d => n += d.length).on('end', () => {
        const saw = `${q.method} ${q.url} +${n}`;
        s.setHeader('Saw', saw);
        s.end(saw);
    });
}).listen(PORT, '127.0.0.1');
""", ["node"])
