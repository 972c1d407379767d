"""Two servers of the benchmark's folder: nginx, and one that drops each connection after 64 MiB."""
import contextlib
import os
import re
import socket
import subprocess
import threading
import time

MIB = 1 << 20


def wait_for(port):
    for _ in range(100):
        with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port)):
            return
        time.sleep(0.05)
    raise OSError("nginx does not start")


@contextlib.contextmanager
def nginx(folder):
    """Gives the address of the folder."""
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    paths = "".join(f"{kind}_temp_path {kind}; "
                    for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
    (folder / "nginx.conf").write_text(
        "daemon off; master_process off; pid pid; error_log stderr; events { }\n"
        f"http {{ access_log off; sendfile on; {paths}"
        f"server {{ listen 127.0.0.1:{port}; root .; }} }}\n")
    server = subprocess.Popen(["nginx", "-p", folder, "-c", "nginx.conf"],
                              env={"PATH": os.environ["PATH"] + ":/usr/sbin"},
                              stderr=subprocess.DEVNULL)
    try:
        wait_for(port)
        yield f"http://127.0.0.1:{port}"
    finally:
        server.terminate()
        server.wait()


def serve(client, path):
    asked = re.search("bytes=([0-9]+)-", client.recv(65536).decode())
    first, size = int(asked[1]) if asked else 0, path.stat().st_size
    client.sendall((f"HTTP/1.1 {'206 Partial' if asked else '200 OK'}\r\nAccept-Ranges: bytes\r\n"
                    f"Content-Range: bytes {first}-{size - 1}/{size}\r\n"
                    f"Content-Length: {size - first}\r\n\r\n").encode())
    end = min(size, first + 64 * MIB)
    with path.open("rb") as file, contextlib.suppress(OSError):
        while first < end:
            first += os.sendfile(client.fileno(), file.fileno(), first, end - first)
    client.close()


def dropping(path):
    """Serves one file until the process ends; gives its address."""
    listener = socket.create_server(("127.0.0.1", 0))

    def run():
        while True:
            client = listener.accept()[0]
            threading.Thread(target=serve, args=[client, path], daemon=True).start()
    threading.Thread(target=run, daemon=True).start()
    return f"http://127.0.0.1:{listener.getsockname()[1]}/{path.name}"
