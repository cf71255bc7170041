#!/usr/bin/env python3
"""The download tests' servers: HTTP, HTTPS and FTP on 127.0.0.1.

Ports are chosen by the system and written, one "name port" per line, to
--ports when all servers listen. The process ends when the --lifeline file
disappears, on GET /quit, or after --limit seconds, whichever comes first.

HTTP behaviour is chosen per request by the path:
    /b/<options>/<name>
with <options> a comma-separated list (or "-" for none):
    size=N        body of N bytes of the pattern (default 1000)
    norange       ignore Range and answer 200 with the whole body
    nolength      no Content-Length header
    status=N      answer N (with the body) instead of 200/206
    drop=N        close the connection after byte N of the file
    lie=N         announce Content-Length N whatever is sent
    always        drop and lie on every request (default: only on the
                  first request for the path)
    trickle=MS    send 1 KiB blocks with MS milliseconds between them
    to=https      redirect (302) to the same path, options minus "to", on HTTPS
    auth          answer 401 with a Basic challenge
GET /f/<name>[?<options>] serves the file <name> of --root instead, with
Range; of the options only trickle applies.
Byte i of the pattern is (i * 7 + i // 256) % 256.
Every request is logged to --log as one line of tab-separated fields:
method, path, Range, User-Agent, protocol version, Accept-Encoding, and the
time the request came in (ms since 1970). When a body has been sent whole,
"<path>\t<ms>" goes to the file --log plus ".done".

FTP serves --ftproot anonymously; the user "norest" (password "pw") sees
REST refused with 502.
"""
import argparse, os, socket, ssl, subprocess, sys, tempfile, threading, time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer


# The pattern repeats every 64 KiB; two periods let any block be one slice.
PERIOD = bytes(((i * 7 + i // 256) % 256) for i in range(65536)) * 2


def pattern(start, end):
    out = bytearray()
    while start < end:
        offset = start % 65536
        count = min(end - start, 65536)
        out += PERIOD[offset:offset + count]
        start += count
    return bytes(out)


class State:
    lock = threading.Lock()
    seen = set()
    log = None
    https_port = 0
    root = None
    stop = threading.Event()


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.0"

    def log_message(self, *args):
        pass

    def do_GET(self):
        with State.lock, open(State.log, "a") as log:
            log.write("\t".join([self.command, self.path, self.headers.get("Range", ""),
                                 self.headers.get("User-Agent", ""), self.request_version,
                                 self.headers.get("Accept-Encoding", ""),
                                 "%.0f" % (time.time() * 1000)]) + "\n")
        if self.path == "/quit":
            self.send_response(200)
            self.end_headers()
            State.stop.set()
            return
        parts = self.path.split("?")[0].split("/")
        content = pattern
        options = {}
        if len(parts) == 3 and parts[1] == "f" and State.root:
            # A real file of --root, with the same Range handling.
            try:
                with open(os.path.join(State.root, os.path.basename(parts[2])), "rb") as f:
                    data = f.read()
            except OSError:
                self.send_error(404)
                return
            content = lambda a, b: data[a:b]
            query = self.path.partition("?")[2]
            trickle = [i for i in query.split(",") if i.startswith("trickle=")]
            options["size"] = str(len(data))
            parts = ["", "f", ",".join(trickle) or "-", parts[2]]
        elif len(parts) < 4 or parts[1] != "b":
            self.send_error(404)
            return
        for item in parts[2].split(","):
            if item and item != "-":
                key, _, value = item.partition("=")
                options[key] = value
        size = int(options.get("size", "1000"))
        if "to" in options:
            rest = ",".join(i for i in parts[2].split(",") if not i.startswith("to=")) or "-"
            self.send_response(302)
            self.send_header("Location", "https://127.0.0.1:%d/b/%s/%s" % (State.https_port, rest, "/".join(parts[3:])))
            self.send_header("Content-Length", "0")
            self.end_headers()
            return
        if "auth" in options:
            self.send_response(401)
            self.send_header("WWW-Authenticate", 'Basic realm="files"')
            self.send_header("Content-Length", "0")
            self.end_headers()
            return
        with State.lock:
            first = self.path not in State.seen
            State.seen.add(self.path)
        faulty = first or "always" in options
        start = 0
        rng = self.headers.get("Range", "")
        if rng.startswith("bytes=") and "norange" not in options:
            start = min(int(rng[6:].split("-")[0] or 0), size)
        code = int(options.get("status", "206" if start else "200"))
        self.send_response(code)
        if "nolength" not in options:
            lie = options.get("lie") if faulty else None
            self.send_header("Content-Length", lie or str(size - start))
        if start:
            self.send_header("Content-Range", "bytes %d-%d/%d" % (start, size - 1, size))
        self.end_headers()
        end = size
        if "drop" in options and faulty:
            end = max(start, min(size, int(options["drop"])))
        trickle = int(options.get("trickle", "0")) / 1000.0
        block = 1024 if trickle else 262144
        position = start
        try:
            while position < end:
                chunk = content(position, min(end, position + block))
                self.wfile.write(chunk)
                position += len(chunk)
                if trickle:
                    self.wfile.flush()
                    time.sleep(trickle)
            self.wfile.flush()
        except OSError:
            return
        if end == size:
            with State.lock, open(State.log + ".done", "a") as done:
                done.write("%s\t%.0f\n" % (self.path, time.time() * 1000))
        if end < size:
            # A connection lost in mid-file: no orderly end of the response.
            self.close_connection = True
            try:
                self.connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass


def serve(server):
    server.daemon_threads = True
    threading.Thread(target=server.serve_forever, daemon=True).start()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--ports", required=True)
    parser.add_argument("--log", required=True)
    parser.add_argument("--lifeline", required=True)
    parser.add_argument("--ftproot")
    parser.add_argument("--root", help="folder whose files GET /f/<name> serves")
    parser.add_argument("--limit", type=float, default=600)
    args = parser.parse_args()
    State.log = args.log
    State.root = args.root
    open(State.log, "a").close()

    http = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    https = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    certs = tempfile.mkdtemp(prefix="tvcert")
    key, cert = os.path.join(certs, "key.pem"), os.path.join(certs, "cert.pem")
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key, "-out", cert,
                    "-days", "1", "-subj", "/CN=127.0.0.1"], check=True, capture_output=True)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(cert, key)
    https.socket = context.wrap_socket(https.socket, server_side=True)
    State.https_port = https.server_address[1]
    serve(http)
    serve(https)
    ports = {"http": http.server_address[1], "https": State.https_port}

    if args.ftproot:
        from pyftpdlib.authorizers import DummyAuthorizer
        from pyftpdlib.handlers import FTPHandler
        from pyftpdlib.servers import ThreadedFTPServer
        import logging
        logging.disable(logging.CRITICAL)

        class RestHandler(FTPHandler):
            def ftp_REST(self, line):
                if self.username == "norest":
                    self.respond("502 REST not allowed here.")
                    return
                # Like most servers, and unlike pyftpdlib's default, resume
                # whatever TYPE the client chose; WinINet sends TYPE I only
                # with the RETR that follows.
                self._current_type = "i"
                return FTPHandler.ftp_REST(self, line)

        authorizer = DummyAuthorizer()
        authorizer.add_anonymous(args.ftproot)
        authorizer.add_user("norest", "pw", args.ftproot, perm="elr")
        RestHandler.authorizer = authorizer
        RestHandler.passive_ports = None
        ftp = ThreadedFTPServer(("127.0.0.1", 0), RestHandler)
        threading.Thread(target=ftp.serve_forever, kwargs={"timeout": 0.2}, daemon=True).start()
        ports["ftp"] = ftp.address[1]

    with open(args.ports + ".tmp", "w") as out:
        for name, port in ports.items():
            out.write("%s %d\n" % (name, port))
    os.replace(args.ports + ".tmp", args.ports)

    deadline = time.time() + args.limit
    while not State.stop.is_set() and os.path.exists(args.lifeline) and time.time() < deadline:
        time.sleep(0.2)
    os._exit(0)


if __name__ == "__main__":
    main()
