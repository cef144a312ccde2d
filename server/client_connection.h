#pragma once

// Boost 1.74's Asio needs <utility> before it with GCC 12.
#include <utility>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>

#include "server/content_server.h"

namespace tavrin::server {

// Serves one accepted connection until the client leaves or the server stops: requests read
// and answered in turn (keep-alive), over TLS when `tls` is set, else over plain TCP.
void ServeConnection(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context* tls,
                     ContentServer::Impl& server);

}  // namespace tavrin::server
