"""Products with updates, and the web server that their packages come from."""
import contextlib
import hashlib
import http.server
import io
import json
import tarfile
import threading


def archive(files):
    """A gzipped tar archive."""
    result = io.BytesIO()
    with tarfile.open(fileobj=result, mode="w:gz") as tar:
        for name, content in files.items():
            entry = tarfile.TarInfo(name)
            entry.size = len(content)
            tar.addfile(entry, io.BytesIO(content))
    return result.getvalue()


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        content = self.server.files[self.path]
        self.send_response(200)
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        with contextlib.suppress(ConnectionError):  # a cancelled download
            while content:
                content = content[self.wfile.write(content if self.server.released.wait(0.5) else content[:100]):]

    def log_message(self, *_):
        pass


class Products:
    """Products installed in a session that has not been started, version 1.0 each. The packages of 2.0 trickle until all
    are released."""

    def __init__(self, session, *names):
        self.session = session
        self.offers = {}
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.files, self.server.released = {}, threading.Event()
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        for name in names:
            session.write(f"bin/apps/{name}/installation.ini", f"[General]\nSoftwareName={name}\nVersion=1.0\n"
                          "SoftBytes=64\nExeName=bin/program\n")
            session.write(f"bin/apps/{name}/bin/program", "old 1.0")
        session.write("bin/cfg.ini", "[system]\napps_path=apps\n[upgrade]\ncatalogue=../catalogue.json\n")
        session.write("catalogue.json", '{"products":[]}')

    def offer(self, name, package=b"y" * 500000, checksum=None, day=1):
        """Announces version 2.0."""
        self.server.released.clear()
        path = f"/{len(self.server.files)}"
        self.server.files[path] = package
        self.session.write(f"notes-{day}.html", f"<p>{name} 的说明</p>")
        self.offers[name] = {"name": name, "release": {
            "version": "2.0", "date": f"2026-11-{day:02} 10:00:00", "notes": f"notes-{day}.html",
            "package": {"url": f"http://127.0.0.1:{self.server.server_port}{path}", "size": len(package),
                        "sha256": checksum or hashlib.sha256(package).hexdigest()}}}
        self.session.write("catalogue.json", json.dumps({"products": list(self.offers.values())}))

    def task(self, name):
        tasks = self.session.json("upgrade", "tasks")
        return next((task for task in tasks if task["SoftName"] == name), {"Status": 0})

    def status(self, name):
        return self.task(name)["Status"]

    def file(self, name, path):
        return self.session.read(f"bin/apps/{name}/{path}")

    def close(self):
        self.server.released.set()
        self.server.shutdown()
        self.server.server_close()
