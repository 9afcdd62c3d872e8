#!/usr/bin/env python3
"""The web shop's photo application on loopback, serving one folder: what the photo procedures
1005 (upload) and 5 (download) talk to, and a description of the protocol for the shop's side.

    scripts/webshop-server.py FOLDER [--port 8080] [--login agente] [--password segreta]
                              [--path /catalogo/foto.php]

Requests (values unencoded, as the procedures send them; user agent "Tarvo/1.0"):

  GET  PATH?login=L&password=P&tarvo=yes&oper=list
       200 text/xml, the photos of the folder (hidden files left out):
         <?xml version="1.0" encoding="UTF-8"?>
         <files>
           <file name="ali001.jpg" mtime="2026-11-23 10:00:00" size="5201" md5="0f3c...e1"/>
         </files>
       mtime is local time; md5 the file's MD5 in hexadecimal (either case is accepted).
  GET  PATH?login=L&password=P&tarvo=yes&oper=download&file=NAME
       200 with the photo's bytes and its image type.
  POST PATH, multipart/form-data with the fields, in this order:
         imgfile (the photo as a file part; stored under the part's base name),
         oper=upload, login=L, password=P, tarvo=yes
       200 text/plain "OK: foto NAME ricevuta".

Every refusal (wrong credentials, unknown operation, unknown photo, a name with a folder in it)
is a 200 reply of type text/plain whose lines the procedure shows; that content type is how the
shop says "error". An upload is written under a hidden temporary name and renamed, so a list
never shows half a photo. Stop with Ctrl-C. The server prints its URL when it listens.
"""
import argparse
import email.parser
import email.policy
import hashlib
import http.server
import os
import sys
import time
import urllib.parse
from xml.sax.saxutils import quoteattr

TYPES = {".jpg": "image/jpeg", ".jpeg": "image/jpeg", ".png": "image/png", ".gif": "image/gif"}


def plain_name(name):
    return name not in ("", ".", "..") and "/" not in name and "\\" not in name


class PhotoShop(http.server.BaseHTTPRequestHandler):
    folder = "."
    login = "agente"
    password = "segreta"
    path_name = "/catalogo/foto.php"

    def log_message(self, fmt, *args):
        # The request line holds the password: show the operation only.
        sys.stderr.write("webshop: %s %s\n" % (self.command, self.path.split("?")[0]))

    def reply(self, body, content_type, status=200):
        data = body.encode() if isinstance(body, str) else body
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        self.wfile.write(data)

    def refuse(self, text):
        self.reply(text + "\n", "text/plain")

    def authorised(self, fields):
        return (fields.get("login") == self.login and fields.get("password") == self.password
                and fields.get("tarvo") == "yes")

    def do_GET(self):
        url = urllib.parse.urlsplit(self.path)
        if url.path != self.path_name:
            return self.reply("<html><body>Pagina inesistente</body></html>", "text/html", 404)
        # Values arrive unencoded; split by hand so a "+" in a password stays a "+".
        fields = dict(item.split("=", 1) for item in url.query.split("&") if "=" in item)
        if not self.authorised(fields):
            return self.refuse("ERRORE: credenziali non valide")
        oper = fields.get("oper")
        if oper == "list":
            return self.reply(self.listing(), "text/xml")
        if oper != "download":
            return self.refuse("ERRORE: operazione sconosciuta")
        name = urllib.parse.unquote(fields.get("file", ""))
        path = os.path.join(self.folder, name)
        if not plain_name(name) or not os.path.isfile(path):
            return self.refuse("ERRORE: file %s inesistente" % name)
        with open(path, "rb") as f:
            self.reply(f.read(), TYPES.get(os.path.splitext(name)[1].lower(), "application/octet-stream"))

    def listing(self):
        lines = ['<?xml version="1.0" encoding="UTF-8"?>', "<files>"]
        for name in sorted(os.listdir(self.folder)):
            path = os.path.join(self.folder, name)
            if name.startswith(".") or not os.path.isfile(path):
                continue
            with open(path, "rb") as f:
                md5 = hashlib.md5(f.read()).hexdigest()
            mtime = time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(os.path.getmtime(path)))
            lines.append("  <file name=%s mtime=%s size=\"%d\" md5=\"%s\"/>"
                         % (quoteattr(name), quoteattr(mtime), os.path.getsize(path), md5))
        lines.append("</files>")
        return "\n".join(lines) + "\n"

    def do_POST(self):
        if urllib.parse.urlsplit(self.path).path != self.path_name:
            return self.reply("<html><body>Pagina inesistente</body></html>", "text/html", 404)
        length = int(self.headers.get("Content-Length", 0))
        head = "Content-Type: %s\r\n\r\n" % self.headers.get("Content-Type", "")
        message = email.parser.BytesParser(policy=email.policy.HTTP).parsebytes(head.encode() + self.rfile.read(length))
        fields, photo, name = {}, None, ""
        for part in message.iter_parts() if message.is_multipart() else []:
            field = part.get_param("name", header="content-disposition")
            if field == "imgfile":
                photo, name = part.get_payload(decode=True), os.path.basename(part.get_filename() or "")
            else:
                fields[field] = part.get_payload(decode=True).decode("latin-1")
        if not self.authorised(fields):
            return self.refuse("ERRORE: credenziali non valide")
        if fields.get("oper") != "upload" or photo is None or not plain_name(name):
            return self.refuse("ERRORE: richiesta di caricamento non valida")
        partial = os.path.join(self.folder, "." + name + ".part")
        with open(partial, "wb") as f:
            f.write(photo)
        os.replace(partial, os.path.join(self.folder, name))
        self.reply("OK: foto %s ricevuta\n" % name, "text/plain")


def main():
    args = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    args.add_argument("folder")
    args.add_argument("--port", type=int, default=8080)
    args.add_argument("--login", default="agente")
    args.add_argument("--password", default="segreta")
    args.add_argument("--path", default="/catalogo/foto.php")
    options = args.parse_args()
    os.makedirs(options.folder, exist_ok=True)
    PhotoShop.folder, PhotoShop.login, PhotoShop.password = options.folder, options.login, options.password
    PhotoShop.path_name = options.path
    server = http.server.ThreadingHTTPServer(("127.0.0.1", options.port), PhotoShop)
    print("webshop: http://127.0.0.1:%d%s serving %s" % (server.server_port, options.path, options.folder), flush=True)
    try:
        server.serve_forever()
    except KeyboardInterrupt:
        pass


if __name__ == "__main__":
    main()
