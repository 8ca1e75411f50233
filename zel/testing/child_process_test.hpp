// Programs run by tests: started with their output in files, waited for
// within a bound, killed when the bound passes or when the test dies.
//
// A test that runs a program must not hang when the program does, so every
// wait has a deadline; a child that outlives it is killed and reported as
// timed out. Output goes to files rather than pipes, so that a child that
// writes much never blocks on a parent that is not reading yet.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "zel/testing/streams_test.hpp"

extern char** environ;

namespace vorn::testing {

struct process_result {
    int exit_code = -1;  // -1 when a signal ended the child
    int signal = 0;      // the signal that ended it, or 0
    bool timed_out = false;
    std::string out;
    std::string err;
    long peak_kib = 0;  // its largest resident set

    bool succeeded() const { return exit_code == 0 && !timed_out; }
};

class child_process {
  public:
    // Starts argv[0] (a path) with argv in directory cwd, its standard output
    // and error written to out_file and err_file, its standard input empty.
    child_process(const std::vector<std::string>& argv, const std::filesystem::path& cwd,
                  std::filesystem::path out_file, std::filesystem::path err_file)
        : out_file_(std::move(out_file)), err_file_(std::move(err_file)) {
        std::vector<char*> args;
        for (const std::string& arg : argv) {
            args.push_back(const_cast<char*>(arg.c_str()));
        }
        args.push_back(nullptr);
        const pid_t parent = ::getpid();
        pid_ = ::fork();
        if (pid_ < 0) {
            throw std::system_error(errno, std::generic_category(), "cannot start " + argv[0]);
        }
        if (pid_ == 0) {
            // Only calls that are safe between fork and exec in a process
            // with threads. The child dies with the test, even a killed one,
            // so that no server outlives it.
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const int in = ::open("/dev/null", O_RDONLY);
            const int out = ::open(out_file_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            const int err = ::open(err_file_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (::getppid() == parent && in >= 0 && out >= 0 && err >= 0 && ::dup2(in, 0) == 0 &&
                ::dup2(out, 1) == 1 && ::dup2(err, 2) == 2 && ::chdir(cwd.c_str()) == 0) {
                ::execve(args[0], args.data(), environ);
            }
            ::_exit(127);
        }
    }
    child_process(const child_process&) = delete;
    child_process& operator=(const child_process&) = delete;
    ~child_process() {
        if (!ended_) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }

    pid_t pid() const { return pid_; }

    // Whether the child still runs; reaps it if it ended.
    bool running() {
        if (ended_) {
            return false;
        }
        const pid_t done = ::wait4(pid_, &status_, WNOHANG, &usage_);
        if (done < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "wait4");
        }
        ended_ = done == pid_;
        return !ended_;
    }

    // Waits until the child ends or the bound passes, when it is killed.
    process_result wait(std::chrono::milliseconds bound) {
        process_result result;
        const auto deadline = std::chrono::steady_clock::now() + bound;
        while (running()) {
            if (std::chrono::steady_clock::now() >= deadline) {
                result.timed_out = true;
                ::kill(pid_, SIGKILL);
                ::wait4(pid_, &status_, 0, &usage_);
                ended_ = true;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        if (WIFEXITED(status_)) {
            result.exit_code = WEXITSTATUS(status_);
        } else if (WIFSIGNALED(status_)) {
            result.signal = WTERMSIG(status_);
        }
        result.peak_kib = usage_.ru_maxrss;
        result.out = read_file(out_file_);
        result.err = read_file(err_file_);
        return result;
    }

  private:
    pid_t pid_ = -1;
    bool ended_ = false;
    int status_ = 0;
    rusage usage_{};
    std::filesystem::path out_file_;
    std::filesystem::path err_file_;
};

// Runs a program to its end, or kills it after bound; its output is kept in
// files named after tag in scratch.
inline process_result run_process(const std::vector<std::string>& argv,
                                  const std::filesystem::path& cwd,
                                  const std::filesystem::path& scratch,
                                  std::chrono::milliseconds bound, const std::string& tag = "run") {
    child_process child(argv, cwd, scratch / (tag + ".out"), scratch / (tag + ".err"));
    return child.wait(bound);
}

}  // namespace vorn::testing
