// Connections as coroutines over Beast; see http_server.h.
//
// Each wait has an end: a header is read within header_time, a body keeps up kLeastRate, an answer
// is taken up within the limits' patience for each piece, an idle connection is closed after
// kIdleTime.
#include "http/http_server.h"

#include <unistd.h>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/write.hpp>
#include <cstdio>
#include <limits>
#include <map>
#include <vector>

#include "base/event_log.h"
#include "base/files.h"
#include "base/loop_native.h"

namespace vorlan::server {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using namespace std::chrono_literals;
using Error = boost::system::error_code;
using Clock = std::chrono::steady_clock;
using Parser = http::request_parser<http::buffer_body>;

constexpr size_t kLargestHeader = size_t{16} << 10;
constexpr auto kMostHeaderTime = 10s;
constexpr auto kIdleTime = 120s;
// TLS has last words, for which hardly anybody waits longer.
constexpr auto kFarewellTime = 1s;
// Bytes of a body that come in a millisecond on average.
constexpr double kLeastRate = 1.024;
// Beast would take bodies in bites of 512 bytes if its buffer had less room.
constexpr size_t kPiece = size_t{64} << 10;
// The first piece of a request over TLS.
constexpr size_t kFirstPiece = 1024;
// So much is read of a body that nobody wants, for the sake of a client that looks at the answer
// only when it has sent everything.
constexpr size_t kMostUnwanted = size_t{4} << 20;

asio::redirect_error_t<asio::use_awaitable_t<>> to(Error& error) {
  return asio::redirect_error(asio::use_awaitable, error);
}

// Something that may come before or after somebody waits for it.
template <class Value>
struct Pending {
  explicit Pending(asio::io_context* context) : arrived(*context, Clock::time_point::max()) {}
  std::optional<Value> value;
  asio::steady_timer arrived;
};

template <class Value>
asio::awaitable<Value> await(std::shared_ptr<Pending<Value>> pending) {
  Error ignored;
  while (!pending->value) co_await pending->arrived.async_wait(to(ignored));
  co_return std::move(*pending->value);
}

// The function by which the value comes.
template <class Value>
std::function<void(Value)> arrival(std::shared_ptr<Pending<Value>> pending) {
  return [pending = std::move(pending)](Value value) {
    pending->value = std::move(value);
    pending->arrived.cancel();
  };
}

std::string lower_case(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

// An empty one ends the body.
std::string as_chunk(const std::string& piece) {
  char size[24];
  std::snprintf(size, sizeof size, "%zx\r\n", piece.size());
  return size + piece + "\r\n";
}

bool make_request(const Parser& parser, Request* request) {
  const auto& head = parser.get();
  request->method = std::string(head.method_string());
  for (const auto& field : head) {
    request->headers[lower_case(field.name_string())] = std::string(field.value());
  }
  if (parser.content_length()) request->content_length = *parser.content_length();
  return parse_target(head.target(), request);
}

int status_of(const Error& error) {
  if (error == http::error::header_limit) return 431;
  if (error == http::error::body_limit) return 413;
  return 400;
}

bool is_malformed(const Error& error) {
  return error.category() == http::make_error_code(http::error::bad_target).category() &&
         error != http::error::end_of_stream && error != http::error::partial_message;
}

std::chrono::milliseconds header_time(const HttpLimits& limits) {
  return std::min<std::chrono::milliseconds>(kMostHeaderTime, limits.patience);
}

// That a body brings within the patience.
size_t least_bytes(const HttpLimits& limits) {
  return static_cast<size_t>(kLeastRate * static_cast<double>(limits.patience.count()));
}

}  // namespace

struct HttpServerState {
  HttpServerState(Loop* l, Service* s, const HttpLimits& m)
      : loop(l), service(s), limits(m), acceptor(l->native().context) {}
  Loop* loop;
  Service* service;
  HttpLimits limits;
  asio::ip::tcp::acceptor acceptor;
  // Empty where there is no TLS. Connections keep the one that they began with.
  std::shared_ptr<asio::ssl::context> tls;
  size_t connections = 0;
  std::map<int, uint64_t> answers;
};

namespace {

// A connection's bytes, with or without TLS: what Beast wants of a stream.
class Wire {
 public:
  using executor_type = beast::tcp_stream::executor_type;

  Wire(asio::ip::tcp::socket socket, std::shared_ptr<asio::ssl::context> tls)
      : context_(std::move(tls)), tcp_(std::move(socket)) {
    if (context_ != nullptr) tls_.emplace(tcp_, *context_);
  }

  executor_type get_executor() { return tcp_.get_executor(); }
  beast::tcp_stream& tcp() { return tcp_; }
  bool has_tls() const { return tls_.has_value(); }

  template <class Buffers, class Token>
  auto async_read_some(const Buffers& buffers, Token&& token) {
    if (tls_) return tls_->async_read_some(buffers, std::forward<Token>(token));
    return tcp_.async_read_some(buffers, std::forward<Token>(token));
  }
  template <class Buffers, class Token>
  auto async_write_some(const Buffers& buffers, Token&& token) {
    if (tls_) return tls_->async_write_some(buffers, std::forward<Token>(token));
    return tcp_.async_write_some(buffers, std::forward<Token>(token));
  }

  asio::awaitable<bool> begin(std::chrono::milliseconds patience) {
    if (!tls_) co_return true;
    Error error;
    tcp_.expires_after(patience);
    co_await tls_->async_handshake(asio::ssl::stream_base::server, to(error));
    co_return !error;
  }
  asio::awaitable<void> end() {
    Error error;
    tcp_.expires_after(kFarewellTime);
    if (tls_) co_await tls_->async_shutdown(to(error));
    tcp_.socket().shutdown(asio::ip::tcp::socket::shutdown_both, error);
  }

 private:
  std::shared_ptr<asio::ssl::context> context_;
  beast::tcp_stream tcp_;
  std::optional<asio::ssl::stream<beast::tcp_stream&>> tls_;
};

class Connection {
 public:
  Connection(std::shared_ptr<HttpServerState> state, asio::ip::tcp::socket socket)
      : state_(std::move(state)), stream_(std::move(socket), state_->tls) {
    Error ignored;
    const auto endpoint = stream_.tcp().socket().remote_endpoint(ignored);
    if (!ignored) peer_ = endpoint.address().to_string();
    stream_.tcp().socket().set_option(asio::ip::tcp::no_delay(true), ignored);
    ++state_->connections;
  }
  ~Connection() { --state_->connections; }

  asio::awaitable<void> serve() {
    bool goes_on = co_await stream_.begin(header_time(state_->limits));
    while (goes_on) goes_on = co_await serve_request();
    co_await stream_.end();
  }

 private:
  // Gives true when another request may follow.
  asio::awaitable<bool> serve_request();
  asio::awaitable<bool> await_request();
  // Gives what serve_request gives.
  asio::awaitable<bool> refuse(Parser* parser, Answer answer);
  asio::awaitable<Error> read_body(Parser* parser, Exchange* exchange);
  asio::awaitable<Answer> await_answer(Exchange* exchange);
  // Gives true when the answer is on its way.
  asio::awaitable<bool> send(const Answer& answer, bool keep_alive, bool head_only);
  asio::awaitable<bool> send_file(const Answer& answer);
  asio::awaitable<bool> send_stream(std::shared_ptr<Stream> stream);

  std::shared_ptr<HttpServerState> state_;
  Wire stream_;
  beast::flat_buffer buffer_;
  std::string peer_;
  // True for a client that speaks HTTP/1.1: it understands a body in chunks.
  bool takes_chunks_ = false;
};

asio::awaitable<bool> Connection::await_request() {
  if (buffer_.size() > 0) co_return true;
  Error error;
  if (stream_.has_tls()) {
    // Bytes that have come may be inside of TLS already, where no wait for the socket sees them.
    stream_.tcp().expires_after(kIdleTime);
    buffer_.commit(co_await stream_.async_read_some(buffer_.prepare(kFirstPiece), to(error)));
    co_return !error;
  }
  asio::steady_timer idle(co_await asio::this_coro::executor, kIdleTime);
  idle.async_wait([this](const Error& cancelled) {
    if (!cancelled) stream_.tcp().cancel();
  });
  co_await stream_.tcp().socket().async_wait(asio::socket_base::wait_read, to(error));
  co_return !error;
}

asio::awaitable<bool> Connection::serve_request() {
  if (!co_await await_request()) co_return false;
  Error error;
  Parser parser;
  parser.header_limit(kLargestHeader);
  parser.body_limit(std::numeric_limits<uint64_t>::max());
  stream_.tcp().expires_after(header_time(state_->limits));
  co_await http::async_read_header(stream_, buffer_, parser, to(error));
  if (error) {
    if (is_malformed(error)) {
      co_await send(state_->service->failure(status_of(error), error.message()), false, false);
    }
    co_return false;
  }
  takes_chunks_ = parser.get().version() >= 11;
  Request request;
  request.peer = peer_;
  if (!make_request(parser, &request)) {
    co_return co_await refuse(&parser, state_->service->failure(400, "malformed request target"));
  }
  const auto exchange = state_->service->begin(request);
  if (auto refusal = exchange->refusal()) {
    co_return co_await refuse(&parser, std::move(*refusal));
  }
  if (request.content_length.value_or(0) > exchange->body_limit()) {
    co_return co_await refuse(&parser, state_->service->failure(413, "the body is too large"));
  }
  error = co_await read_body(&parser, exchange.get());
  if (error) {
    if (!is_malformed(error)) co_return false;
    co_return co_await refuse(&parser, state_->service->failure(status_of(error), error.message()));
  }
  const Answer answer = co_await await_answer(exchange.get());
  if (!parser.is_done()) co_return co_await refuse(&parser, answer);
  const bool keep_alive = parser.get().keep_alive();
  co_return co_await send(answer, keep_alive, request.method == "HEAD") && keep_alive;
}

// Answers before the body is read, or instead of it.
asio::awaitable<bool> Connection::refuse(Parser* parser, Answer answer) {
  const bool whole = parser->is_done();
  const bool keep_alive = whole && parser->get().keep_alive();
  if (!co_await send(answer, keep_alive, false)) co_return false;
  if (whole) co_return keep_alive;
  Error error;
  stream_.tcp().socket().shutdown(asio::ip::tcp::socket::shutdown_send, error);
  std::vector<char> piece(kPiece);
  stream_.tcp().expires_after(header_time(state_->limits));
  for (size_t total = 0; !error && total < kMostUnwanted;) {
    total += co_await stream_.async_read_some(asio::buffer(piece), to(error));
  }
  co_return false;
}

asio::awaitable<Error> Connection::read_body(Parser* parser, Exchange* exchange) {
  Error error;
  if (parser->is_done()) co_return error;
  parser->body_limit(exchange->body_limit());
  if (beast::iequals(parser->get()[http::field::expect], "100-continue")) {
    stream_.tcp().expires_after(state_->limits.patience);
    static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
    co_await asio::async_write(stream_, asio::buffer(kContinue), to(error));
    if (error) co_return error;
  }
  buffer_.reserve(kPiece);
  std::vector<char> piece(kPiece);
  size_t in_time = 0;
  stream_.tcp().expires_after(state_->limits.patience);
  while (!parser->is_done()) {
    auto& body = parser->get().body();
    body.data = piece.data();
    body.size = piece.size();
    co_await http::async_read_some(stream_, buffer_, *parser, to(error));
    if (error == http::error::need_buffer) error = {};
    if (error) co_return error;
    const size_t length = piece.size() - body.size;
    if (!exchange->receive({piece.data(), length})) co_return Error();
    in_time += length;
    if (in_time < least_bytes(state_->limits)) continue;
    in_time = 0;
    stream_.tcp().expires_after(state_->limits.patience);
  }
  co_return error;
}

asio::awaitable<Answer> Connection::await_answer(Exchange* exchange) {
  const auto pending = std::make_shared<Pending<Answer>>(&state_->loop->native().context);
  exchange->answer(arrival(pending));
  co_return co_await await(pending);
}

asio::awaitable<bool> Connection::send(const Answer& answer, bool keep_alive, bool head_only) {
  ++state_->answers[answer.status];
  http::response<http::buffer_body> response(
      http::int_to_status(static_cast<unsigned>(answer.status)), 11);
  response.set(http::field::content_type, answer.type);
  response.set("Vorlan-Protocol", "1");
  response.set(http::field::cache_control, "no-store");
  response.set("X-Content-Type-Options", "nosniff");
  for (const auto& [name, value] : answer.headers) response.set(name, value);
  const bool has_file = !answer.file.empty();
  const bool has_body = answer.status != 204 && answer.status != 304;
  if (answer.stream != nullptr) {
    keep_alive = false;
    if (takes_chunks_) response.chunked(true);
  } else if (has_body) {
    response.content_length(has_file ? answer.length : answer.body.size());
  }
  response.keep_alive(keep_alive);
  // The body goes after it by itself.
  response.body().data = nullptr;
  response.body().more = true;
  http::response_serializer<http::buffer_body> serializer(response);
  Error error;
  stream_.tcp().expires_after(state_->limits.patience);
  co_await http::async_write_header(stream_, serializer, to(error));
  if (!error && !head_only && answer.stream != nullptr)
    co_return co_await send_stream(answer.stream);
  if (!error && !head_only && has_file) co_return co_await send_file(answer);
  if (!error && !head_only)
    co_await asio::async_write(stream_, asio::buffer(answer.body), to(error));
  co_return !error;
}

// Each piece has its own time, so that a slow line is not a lost one.
asio::awaitable<bool> Connection::send_file(const Answer& answer) {
  const Descriptor file = open_for_reading(answer.file);
  std::vector<char> piece(kPiece);
  uint64_t left = answer.length;
  off_t offset = static_cast<off_t>(answer.offset);
  while (left > 0) {
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(left, piece.size()));
    const ssize_t got = pread(file.get(), piece.data(), wanted, offset);
    if (got <= 0) co_return false;
    Error error;
    stream_.tcp().expires_after(state_->limits.patience);
    co_await asio::async_write(stream_, asio::buffer(piece.data(), static_cast<size_t>(got)),
                               to(error));
    if (error) co_return false;
    left -= static_cast<uint64_t>(got);
    offset += got;
  }
  co_return true;
}

// A reader that does not take up a piece in time is cut; the events say where it can go on.
asio::awaitable<bool> Connection::send_stream(std::shared_ptr<Stream> stream) {
  for (;;) {
    const auto pending = std::make_shared<Pending<std::string>>(&state_->loop->native().context);
    stream->next(arrival(pending));
    stream_.tcp().expires_never();
    std::string piece = co_await await(pending);
    const bool is_end = piece.empty();
    if (takes_chunks_) piece = as_chunk(piece);
    Error error;
    stream_.tcp().expires_after(state_->limits.patience);
    co_await asio::async_write(stream_, asio::buffer(piece), to(error));
    if (error || is_end) co_return false;
  }
}

asio::awaitable<void> serve_connection(std::shared_ptr<HttpServerState> state,
                                       asio::ip::tcp::socket socket) {
  Connection connection(std::move(state), std::move(socket));
  try {
    co_await connection.serve();
  } catch (const std::exception& error) {
    log_event("connection failed", {{"reason", error.what()}});
  }
}

asio::awaitable<void> accept_connections(std::shared_ptr<HttpServerState> state) {
  for (;;) {
    Error error;
    auto socket = co_await state->acceptor.async_accept(to(error));
    if (error == asio::error::operation_aborted) co_return;
    if (error) {
      // There are too many open files, as a rule: connections that end will make room.
      asio::steady_timer pause(state->loop->native().context, 100ms);
      co_await pause.async_wait(to(error));
      continue;
    }
    if (state->connections >= state->limits.most_connections) continue;
    asio::co_spawn(state->loop->native().context, serve_connection(state, std::move(socket)),
                   asio::detached);
  }
}

}  // namespace

HttpServer::HttpServer(Loop* loop, Service* service, const HttpLimits& limits)
    : state_(std::make_shared<HttpServerState>(loop, service, limits)) {}

HttpServer::~HttpServer() = default;

std::string HttpServer::listen(const std::string& address, uint16_t port) {
  Error error;
  const auto ip = asio::ip::make_address(address, error);
  if (error) return "'" + address + "' is no IP address";
  const asio::ip::tcp::endpoint endpoint(ip, port);
  auto& acceptor = state_->acceptor;
  acceptor.open(endpoint.protocol(), error);
  if (!error) acceptor.set_option(asio::socket_base::reuse_address(true), error);
  if (!error) acceptor.bind(endpoint, error);
  if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (error) {
    return "cannot listen at " + address + " port " + std::to_string(port) + ": " + error.message();
  }
  asio::co_spawn(state_->loop->native().context, accept_connections(state_), asio::detached);
  return {};
}

std::string HttpServer::use_tls(const std::string& certificate, const std::string& key) {
  const auto context = std::make_shared<asio::ssl::context>(asio::ssl::context::tls_server);
  context->set_options(asio::ssl::context::no_tlsv1 | asio::ssl::context::no_tlsv1_1 |
                       asio::ssl::context::no_compression);
  Error error;
  context->use_certificate_chain_file(certificate, error);
  if (error) return "cannot use the certificate '" + certificate + "': " + error.message();
  context->use_private_key_file(key, asio::ssl::context::pem, error);
  if (error) return "cannot use the key '" + key + "': " + error.message();
  state_->tls = context;
  return {};
}

uint16_t HttpServer::port() const { return state_->acceptor.local_endpoint().port(); }

void HttpServer::close() {
  Error ignored;
  state_->acceptor.close(ignored);
}

size_t HttpServer::num_connections() const { return state_->connections; }

const std::map<int, uint64_t>& HttpServer::answers() const { return state_->answers; }

}  // namespace vorlan::server
