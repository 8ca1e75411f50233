// A real web server for tests and benchmarks that read packages over HTTP:
// the distribution's nginx, started on a free loopback port in a directory
// of its own, serving the files that the test puts under root(), and
// stopped again, however the test ends.
//
// nginx runs as one process in the foreground (no master, no daemon), so the
// one process started is the one stopped, and it needs no rights beyond
// those of the test: every path it writes (logs, pid, temporary files) lies
// in its own directory. With tls, it serves HTTPS on a certificate for
// 127.0.0.1 that openssl makes at start; ca_file() names it for clients.
//
// Every request is logged one line each in an access log of a fixed format,
// which requests() reads: what a client asked for and how many body bytes it
// got. nginx writes a request's line when it has sent the last byte, so
// requests() first sends a request of its own on a second, plain port and
// waits for that line: one process handles both ports in order, so every
// request answered before it is in the log by then.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "zel/testing/child_process_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/streams_test.hpp"

namespace vorn::testing {

inline constexpr const char* nginx_program = "/usr/sbin/nginx";
inline constexpr const char* openssl_program = "/usr/bin/openssl";

struct nginx_config {
    bool tls = false;
    // Directives inside "server { ... }", in place of serving the files
    // under root(): the locations of a proxy, say.
    std::string server = {};
    // Directives at the level of "http { ... }", before the server.
    std::string http = {};
};

// One line of the access log.
struct access_entry {
    std::string method;
    std::string uri;  // as the client sent it, query string included
    int status = 0;
    std::uint64_t body_bytes = 0;
    std::string range;  // the Range header, or "-"
};

class nginx_server {
  public:
    explicit nginx_server(nginx_config config = {}) : config_(std::move(config)) {
        std::filesystem::create_directories(root());
        std::filesystem::create_directories(home() / "temp");
        if (config_.tls) {
            make_certificate();
        }
        // A port found free may be taken by another test before nginx binds
        // it; then nginx stops at once, and another pair is tried.
        for (int attempt = 0; attempt < 8; ++attempt) {
            if (try_start()) {
                return;
            }
        }
        throw std::runtime_error("nginx did not start: " + read_file(home() / "error.log"));
    }
    nginx_server(const nginx_server&) = delete;
    nginx_server& operator=(const nginx_server&) = delete;
    ~nginx_server() { stop(); }

    // The directory whose files are served, by their relative paths.
    std::filesystem::path root() const { return directory_.path() / "www"; }
    std::uint16_t port() const { return port_; }
    std::string base_url() const {
        return (config_.tls ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(port_) +
               "/";
    }
    std::string url(const std::string& path) const { return base_url() + path; }
    // The certificate that clients must trust for HTTPS; empty without tls.
    std::filesystem::path ca_file() const {
        return config_.tls ? home() / "cert.pem" : std::filesystem::path();
    }

    // Every request answered so far, in the order nginx finished them.
    std::vector<access_entry> requests() const {
        const std::string mark = "/.log-mark-" + std::to_string(++marks_);
        send_mark(mark);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        for (;;) {
            std::vector<access_entry> entries;
            bool marked = false;
            std::istringstream log(read_file(home() / "access.log"));
            for (std::string line; std::getline(log, line);) {
                access_entry e = parse(line);
                marked = marked || e.uri == mark;
                if (e.uri.rfind("/.log-mark-", 0) != 0) {
                    entries.push_back(std::move(e));
                }
            }
            if (marked) {
                return entries;
            }
            if (std::chrono::steady_clock::now() > deadline) {
                throw std::runtime_error("nginx did not log " + mark);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    // Stops nginx; what it logged stays readable.
    void stop() {
        if (process_) {
            ::kill(process_->pid(), SIGTERM);
            process_->wait(std::chrono::seconds(10));
            process_.reset();
        }
    }

  private:
    std::filesystem::path home() const { return directory_.path() / "nginx"; }

    void make_certificate() {
        const process_result made = run_process(
            {openssl_program, "req", "-x509", "-newkey", "ec", "-pkeyopt",
             "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj", "/CN=127.0.0.1",
             "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", "key.pem", "-out", "cert.pem"},
            home(), home(), std::chrono::seconds(60), "openssl");
        if (!made.succeeded()) {
            throw std::runtime_error("openssl made no certificate: " + made.err);
        }
    }

    static std::pair<std::uint16_t, std::uint16_t> free_ports() {
        int sockets[2];
        std::uint16_t ports[2];
        for (int i = 0; i < 2; ++i) {
            sockets[i] = ::socket(AF_INET, SOCK_STREAM, 0);
            sockaddr_in address{};
            address.sin_family = AF_INET;
            address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            socklen_t size = sizeof address;
            if (sockets[i] < 0 ||
                ::bind(sockets[i], reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
                ::getsockname(sockets[i], reinterpret_cast<sockaddr*>(&address), &size) != 0) {
                throw std::runtime_error("no free loopback port");
            }
            ports[i] = ntohs(address.sin_port);
        }
        ::close(sockets[0]);
        ::close(sockets[1]);
        return {ports[0], ports[1]};
    }

    std::string configuration() const {
        const std::string home_dir = home().string();
        const std::string temp = home_dir + "/temp";
        std::string text = "daemon off;\nmaster_process off;\nworker_processes 1;\n";
        text += "pid " + home_dir + "/nginx.pid;\n";
        text += "error_log " + home_dir + "/error.log warn;\n";
        text += "events { worker_connections 1024; }\n";
        text += "http {\n";
        text +=
            "  log_format counted '$request_method $request_uri $status $body_bytes_sent "
            "\"$http_range\"';\n";
        text += "  access_log " + home_dir + "/access.log counted;\n";
        for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
            text += std::string("  ") + kind + "_temp_path " + temp + "/" + kind + ";\n";
        }
        text += "  default_type application/octet-stream;\n  sendfile on;\n";
        text += "  keepalive_requests 100000;\n";
        text += config_.http;
        text += "  server {\n";
        text +=
            "    listen 127.0.0.1:" + std::to_string(port_) + (config_.tls ? " ssl" : "") + ";\n";
        text += "    listen 127.0.0.1:" + std::to_string(mark_port_) + ";\n";
        if (config_.tls) {
            text += "    ssl_certificate " + home_dir + "/cert.pem;\n";
            text += "    ssl_certificate_key " + home_dir + "/key.pem;\n";
        }
        text += "    location ^~ /.log-mark- { return 204; }\n";
        text += config_.server.empty() ? "    location / { root " + root().string() + "; }\n"
                                       : config_.server;
        text += "  }\n}\n";
        return text;
    }

    bool try_start() {
        std::tie(port_, mark_port_) = free_ports();
        const std::filesystem::path conf = home() / "nginx.conf";
        std::ofstream(conf) << configuration();
        process_.emplace(
            std::vector<std::string>{nginx_program, "-p", home().string() + "/", "-c",
                                     conf.string(), "-e", (home() / "error.log").string()},
            home(), home() / "nginx.out", home() / "nginx.err");
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < deadline) {
            if (!process_->running()) {
                process_.reset();
                return false;  // it stopped: a port was taken, or worse
            }
            if (accepts(mark_port_) && accepts(port_)) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        stop();
        return false;
    }

    static int connect_to(std::uint16_t port) {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        if (fd >= 0 && ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            return fd;
        }
        if (fd >= 0) {
            ::close(fd);
        }
        return -1;
    }

    static bool accepts(std::uint16_t port) {
        const int fd = connect_to(port);
        if (fd < 0) {
            return false;
        }
        ::close(fd);
        return true;
    }

    void send_mark(const std::string& mark) const {
        const int fd = connect_to(mark_port_);
        if (fd < 0) {
            throw std::runtime_error("nginx does not answer on its mark port");
        }
        const std::string request = "GET " + mark + " HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n";
        bool sent = ::send(fd, request.data(), request.size(), MSG_NOSIGNAL) ==
                    static_cast<ssize_t>(request.size());
        timeval bound{10, 0};
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
        char answer[512];
        while (sent && ::recv(fd, answer, sizeof answer, 0) > 0) {
        }
        ::close(fd);
        if (!sent) {
            throw std::runtime_error("cannot send " + mark + " to nginx");
        }
    }

    static access_entry parse(const std::string& line) {
        access_entry e;
        std::istringstream in(line);
        in >> e.method >> e.uri >> e.status >> e.body_bytes;
        std::getline(in >> std::ws, e.range);
        if (e.range.size() >= 2 && e.range.front() == '"' && e.range.back() == '"') {
            e.range = e.range.substr(1, e.range.size() - 2);
        }
        return e;
    }

    nginx_config config_;
    scratch_directory directory_;
    std::uint16_t port_ = 0;
    std::uint16_t mark_port_ = 0;
    std::optional<child_process> process_;
    mutable unsigned marks_ = 0;
};

}  // namespace vorn::testing
