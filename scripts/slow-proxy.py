#!/usr/bin/env python3
"""A plain HTTP relay that passes requests to a content server and sends file bodies back at a
capped rate per connection, so a sync over loopback lasts long enough to be watched (and
photographed). Usage: slow-proxy.py LISTEN_PORT UPSTREAM_URL BYTES_PER_SECOND"""
import http.client
import http.server
import sys
import time
import urllib.parse

listen_port = int(sys.argv[1])
upstream = urllib.parse.urlsplit(sys.argv[2])
rate = int(sys.argv[3])
CHUNK = 16384
HOP_BY_HOP = {"connection", "keep-alive", "transfer-encoding", "host", "proxy-connection"}


class Relay(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        connection = http.client.HTTPConnection(upstream.hostname, upstream.port, timeout=120)
        headers = {k: v for k, v in self.headers.items() if k.lower() not in HOP_BY_HOP}
        connection.request("GET", self.path, headers=headers)
        reply = connection.getresponse()
        body = reply.read()
        self.send_response(reply.status)
        for name, value in reply.getheaders():
            if name.lower() not in HOP_BY_HOP and name.lower() != "content-length":
                self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        slow = self.path.startswith("/download_file/")
        for start in range(0, len(body), CHUNK):
            self.wfile.write(body[start:start + CHUNK])
            if slow:
                time.sleep(CHUNK / rate)
        connection.close()

    def log_message(self, *args):
        pass


http.server.ThreadingHTTPServer(("127.0.0.1", listen_port), Relay).serve_forever()
