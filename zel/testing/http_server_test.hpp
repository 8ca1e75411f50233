// A small HTTP server for the tests of the range reader, on a free loopback
// port and a thread of its own, that can misbehave on demand.
//
// It serves objects from memory with single ranges ("bytes=a-b", "bytes=a-",
// "bytes=-n"), an ETag per object, If-Match, and 416 for a range the object
// does not have. Each connection carries one request and is closed after the
// answer, so one thread serves parallel clients in turn. Every request is
// logged with its path and Range header.
//
// Faults, each set before the requests it should meet:
//  - ignore_range: answers 200 with the whole object;
//  - server_errors: answers the next n requests with 500 and a body of
//    error_body bytes;
//  - cut_bodies: sends the next n bodies half and closes the connection;
//  - cut_unannounced: the same without a Content-Length, so that only the
//    Content-Range tells the body's length;
//  - shifted_range: answers with the right length but a Content-Range 16
//    bytes further on;
//  - silent: reads requests and never answers (the connection stays open
//    until the server stops).
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace vorn::testing {

class http_test_server {
  public:
    struct logged_request {
        std::string path;
        std::string range;
    };

    std::atomic<bool> ignore_range{false};
    std::atomic<int> server_errors{0};
    std::atomic<std::size_t> error_body{4};
    std::atomic<int> cut_bodies{0};
    std::atomic<int> cut_unannounced{0};
    std::atomic<bool> shifted_range{false};
    std::atomic<bool> silent{false};

    http_test_server() {
        listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (listener_ < 0 ||
            ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(listener_, 64) != 0 ||
            ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            throw std::runtime_error("test server cannot listen");
        }
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    http_test_server(const http_test_server&) = delete;
    http_test_server& operator=(const http_test_server&) = delete;
    ~http_test_server() {
        stopping_ = true;
        thread_.join();
        for (int fd : held_) {
            ::close(fd);
        }
        ::close(listener_);
    }

    std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }
    void put(const std::string& path, std::string bytes, std::string etag) {
        std::lock_guard lock(mutex_);
        objects_[path] = {std::move(bytes), std::move(etag)};
    }
    std::vector<logged_request> log() const {
        std::lock_guard lock(mutex_);
        return log_;
    }
    void clear_log() {
        std::lock_guard lock(mutex_);
        log_.clear();
    }

  private:
    struct object {
        std::string bytes;
        std::string etag;
    };

    void serve() {
        while (!stopping_) {
            pollfd p{listener_, POLLIN, 0};
            if (::poll(&p, 1, 20) <= 0) {
                continue;
            }
            const int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd >= 0) {
                answer(fd);
            }
        }
    }

    static std::string header_value(const std::string& head, const std::string& name) {
        std::size_t at = 0;
        while ((at = head.find("\r\n", at)) != std::string::npos) {
            at += 2;
            if (head.size() - at > name.size() && head[at + name.size()] == ':' &&
                std::equal(name.begin(), name.end(), head.begin() + static_cast<long>(at),
                           [](char a, char b) { return std::tolower(a) == std::tolower(b); })) {
                const auto begin = head.find_first_not_of(' ', at + name.size() + 1);
                return head.substr(begin, head.find("\r\n", begin) - begin);
            }
        }
        return {};
    }

    // The request's head, or nothing if the client went away.
    std::optional<std::string> read_head(int fd) {
        std::string head;
        char chunk[4096];
        while (head.find("\r\n\r\n") == std::string::npos && head.size() < 65536) {
            pollfd p{fd, POLLIN, 0};
            if (::poll(&p, 1, 2000) <= 0) {
                return std::nullopt;
            }
            const ssize_t got = ::recv(fd, chunk, sizeof chunk, 0);
            if (got <= 0) {
                return std::nullopt;
            }
            head.append(chunk, static_cast<std::size_t>(got));
        }
        return head;
    }

    static void send_all(int fd, const std::string& bytes) {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            const ssize_t n = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (n <= 0) {
                return;
            }
            sent += static_cast<std::size_t>(n);
        }
    }

    static void reply(int fd, int status, const std::string& headers, const std::string& body,
                      std::size_t body_sent, bool announce_length = true) {
        const std::string length =
            announce_length ? "Content-Length: " + std::to_string(body.size()) + "\r\n" : "";
        send_all(fd, "HTTP/1.1 " + std::to_string(status) + " X\r\nConnection: close\r\n" +
                         headers + length + "\r\n" + body.substr(0, body_sent));
    }

    void answer(int fd) {
        const auto head = read_head(fd);
        if (!head) {
            ::close(fd);
            return;
        }
        const std::string target = head->substr(head->find(' ') + 1);
        const std::string path = target.substr(0, target.find_first_of(" ?"));
        const std::string range = header_value(*head, "Range");
        const std::string if_match = header_value(*head, "If-Match");
        object found;
        bool exists = false;
        {
            std::lock_guard lock(mutex_);
            log_.push_back({path, range});
            const auto it = objects_.find(path);
            if (it != objects_.end()) {
                found = it->second;
                exists = true;
            }
        }
        if (silent) {
            held_.push_back(fd);
            return;
        }
        respond(fd, found, exists, range, if_match);
        ::close(fd);
    }

    void respond(int fd, const object& found, bool exists, const std::string& range,
                 const std::string& if_match) {
        if (server_errors > 0) {
            --server_errors;
            const std::string body(error_body, 'e');
            return reply(fd, 500, "", body, body.size());
        }
        if (!exists) {
            return reply(fd, 404, "", "", 0);
        }
        const std::string etag = "ETag: " + found.etag + "\r\n";
        if (!if_match.empty() && if_match != found.etag) {
            return reply(fd, 412, etag, "", 0);
        }
        const std::uint64_t size = found.bytes.size();
        std::uint64_t first = 0;
        std::uint64_t last = size == 0 ? 0 : size - 1;
        bool partial = false;
        if (!range.empty() && !ignore_range) {
            const std::string bounds = range.substr(range.find('=') + 1);
            const auto dash = bounds.find('-');
            const std::string a = bounds.substr(0, dash);
            const std::string b = bounds.substr(dash + 1);
            if (a.empty()) {
                const std::uint64_t n = std::stoull(b);
                first = n >= size ? 0 : size - n;
            } else {
                first = std::stoull(a);
                last = b.empty() ? size - 1 : std::min<std::uint64_t>(std::stoull(b), size - 1);
            }
            if (size == 0 || first >= size) {
                return reply(fd, 416,
                             etag + "Content-Range: bytes */" + std::to_string(size) + "\r\n", "",
                             0);
            }
            partial = true;
        }
        const std::string body =
            size == 0 ? std::string() : found.bytes.substr(first, last - first + 1);
        std::string headers = etag;
        if (partial) {
            const std::uint64_t shift = shifted_range ? 16 : 0;
            headers += "Content-Range: bytes " + std::to_string(first + shift) + "-" +
                       std::to_string(last + shift) + "/" + std::to_string(size) + "\r\n";
        }
        std::size_t sent = body.size();
        bool announce_length = true;
        if (cut_bodies > 0) {
            --cut_bodies;
            sent /= 2;
        } else if (cut_unannounced > 0) {
            --cut_unannounced;
            sent /= 2;
            announce_length = false;
        }
        reply(fd, partial ? 206 : 200, headers, body, sent, announce_length);
    }

    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<bool> stopping_{false};
    std::thread thread_;
    std::vector<int> held_;  // connections of the silent server, closed at the end
    mutable std::mutex mutex_;
    std::map<std::string, object> objects_;
    std::vector<logged_request> log_;
};

}  // namespace vorn::testing
