#!/usr/bin/env python3
"""A peer for the file transfer over TCP, written from the wire format alone.

usage:
  peer.py send HOST PORT FILE... [--limit 65504] [--pause 0.01] [--split N] [--id N] [--cut BYTES]
  peer.py receive PORT DIR [--limit 65504] [--count N] [--timeout S]
  peer.py bytes FILE [--limit 65504] [--id N]          the messages of one transfer, to stdout
  peer.py samples DIR                                   files whose sizes stand at the edges

Messages: every integer 32 bits, network order. First: length, identifier, file size,
content size, reserved 0, name and a zero byte, content. Later: length, identifier,
content. Length counts the whole message and is at most --limit.
--split sends each message in pieces of N bytes; --cut closes after so many bytes.
receive prints a JSON line per file: name, size, identifier, messages, lengths, sha256, ok, fault.
"""
import argparse, hashlib, json, os, socket, struct, sys, time


def messages(path, limit, ident):
    data = open(path, "rb").read()
    name = os.path.basename(path).encode("utf-8", "surrogateescape") + b"\0"
    sent = 0
    while sent < len(data):
        head = struct.pack(">I", ident) if sent else struct.pack(">IIII", ident, len(data), len(data), 0) + name
        room = limit - 4 - len(head)
        part = data[sent:sent + room]
        yield struct.pack(">I", 4 + len(head) + len(part)) + head + part
        sent += len(part)


def send(a):
    for n, path in enumerate(a.files):
        s = socket.create_connection((a.host, a.port))
        s.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        out = 0
        for m in messages(path, a.limit, a.id + n):
            if a.cut is not None and out + len(m) > a.cut:
                s.sendall(m[:max(0, a.cut - out)])
                break
            step = a.split or len(m)
            for i in range(0, len(m), step):
                s.sendall(m[i:i + step])
                if a.split:
                    time.sleep(0.0005)
            out += len(m)
            time.sleep(a.pause)
        s.close()


def exactly(c, n):
    b = b""
    while len(b) < n:
        p = c.recv(n - len(b))
        if not p:
            return b
        b += p
    return b


def receive(a):
    srv = socket.socket(socket.AF_INET6 if a.six else socket.AF_INET)
    srv.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    srv.bind(("::" if a.six else "", a.port)); srv.listen(8); srv.settimeout(a.timeout)
    print(json.dumps({"port": srv.getsockname()[1]}), flush=True)
    for _ in range(a.count):
        c, _ = srv.accept()
        c.settimeout(a.timeout)
        row = {"name": None, "size": None, "identifier": None, "messages": 0, "lengths": [], "fault": None}
        data, want = b"", None
        while want is None or len(data) < want:
            h = exactly(c, 4)
            if len(h) < 4:
                row["fault"] = "closed after %d content bytes" % len(data)
                break
            n = struct.unpack(">I", h)[0]
            if n < 8 or n > a.limit:
                row["fault"] = "message length %d" % n
                break
            m = exactly(c, n - 4)
            if len(m) < n - 4:
                row["fault"] = "message cut"
                break
            row["messages"] += 1; row["lengths"].append(n)
            ident = struct.unpack(">I", m[:4])[0]
            if want is None:
                row["identifier"] = ident
                size, want, reserved = struct.unpack(">III", m[4:16])
                end = m.index(b"\0", 16)
                row["name"], row["size"] = m[16:end].decode("utf-8", "replace"), size
                if reserved or size != want:
                    row["fault"] = "reserved %d, sizes %d and %d" % (reserved, size, want)
                data += m[end + 1:]
            else:
                if ident != row["identifier"]:
                    row["fault"] = "identifier changed"
                data += m[4:]
        if want is not None and len(data) > want:
            row["fault"] = "%d bytes too many" % (len(data) - want)
        row["ok"] = row["fault"] is None
        row["sha256"] = hashlib.sha256(data).hexdigest()
        if row["lengths"] and any(x != a.limit for x in row["lengths"][:-1]):
            row["note"] = "a message before the last is not full"
        if row["ok"]:
            os.makedirs(a.dir, exist_ok=True)
            open(os.path.join(a.dir, os.path.basename(row["name"])), "wb").write(data)
        print(json.dumps(row), flush=True)
        c.close()


def samples(a):
    os.makedirs(a.dir, exist_ok=True)
    def put(name, n):
        b = bytearray(); i = 0
        while len(b) < n:
            b += hashlib.sha256(b"%d" % i).digest(); i += 1
        open(os.path.join(a.dir, name), "wb").write(b[:n])
    limit = 65504
    put("abcde", 10); put("one", 1); put("empty", 0)
    put("full", limit - 21 - 4); put("full1", limit - 21 - 5 + 1); put("less1", limit - 21 - 5 - 1)
    put("two", limit - 21 - 3 + limit - 8); put("two1", limit - 21 - 4 + limit - 8 + 1)
    put("big.bin", 3000000); put("name with blanks.txt", 70000); put("n" * 200, 66000); put("grün.dat", 500)
    print(len(os.listdir(a.dir)), "files")


def main():
    ap = argparse.ArgumentParser()
    sub = ap.add_subparsers(dest="what", required=True)
    s = sub.add_parser("send"); s.add_argument("host"); s.add_argument("port", type=int); s.add_argument("files", nargs="+")
    s.add_argument("--limit", type=int, default=65504); s.add_argument("--pause", type=float, default=0.01); s.add_argument("--split", type=int); s.add_argument("--id", type=int, default=1000); s.add_argument("--cut", type=int)
    r = sub.add_parser("receive"); r.add_argument("port", type=int); r.add_argument("dir"); r.add_argument("--limit", type=int, default=65504); r.add_argument("--count", type=int, default=1); r.add_argument("--timeout", type=float, default=30); r.add_argument("--six", action="store_true")
    b = sub.add_parser("bytes"); b.add_argument("file"); b.add_argument("--limit", type=int, default=65504); b.add_argument("--id", type=int, default=1000)
    d = sub.add_parser("samples"); d.add_argument("dir")
    a = ap.parse_args()
    if a.what == "send": send(a)
    elif a.what == "receive": receive(a)
    elif a.what == "samples": samples(a)
    else:
        for m in messages(a.file, a.limit, a.id):
            sys.stdout.buffer.write(m)


main()
