// tests/support/cli.cpp
#include "support/cli.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <grp.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/table_builder.h"

namespace {

std::string program_path() {
    if (const char* override_path = std::getenv("TRUGTOOL")) return override_path;
    return TRUGTOOL_PATH;
}

constexpr uid_t kNobody = 65534;

}  // namespace

ScratchDir::ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "trugtool-XXXXXX").string();
    char* made = mkdtemp(pattern.data());
    if (made == nullptr) {
        ADD_FAILURE() << "mkdtemp failed: " << std::strerror(errno);
        return;
    }
    path_ = made;
    chmod(path_.c_str(), 0755);
    if (symlink(program_path().c_str(), file("trugtool").c_str()) != 0)
        ADD_FAILURE() << "cannot link the program: " << std::strerror(errno);
}

ScratchDir::~ScratchDir() {
    if (path_.empty()) return;
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void ScratchDir::write(const std::string& name, const std::string& bytes) const { write_file(file(name), bytes); }

std::string ScratchDir::read(const std::string& name) const { return read_file(file(name)); }

bool ScratchDir::exists(const std::string& name) const { return file_exists(file(name)); }

bool can_run_as_nobody() { return geteuid() == 0; }

bool deep_tests() {
    const char* deep = std::getenv("TRUG_DEEP");
    return deep != nullptr && deep[0] != '\0' && std::strcmp(deep, "0") != 0;
}

RunResult ScratchDir::run(const std::vector<std::string>& args, bool as_nobody) const {
    RunResult result;
    int out_pipe[2], err_pipe[2];
    if (pipe(out_pipe) != 0 || pipe(err_pipe) != 0) {
        ADD_FAILURE() << "pipe failed";
        return result;
    }
    pid_t child = fork();
    if (child == 0) {
        dup2(out_pipe[1], 1);
        dup2(err_pipe[1], 2);
        close(out_pipe[0]);
        close(err_pipe[0]);
        close(out_pipe[1]);
        close(err_pipe[1]);
        int devnull = open("/dev/null", O_RDONLY);
        if (devnull >= 0) dup2(devnull, 0);
        if (chdir(path_.c_str()) != 0) _exit(126);
        if (as_nobody) {
            if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(125);
        }
        setenv("TZ", "UTC", 1);
        alarm(120);  // a hang ends as a signal rather than a stuck suite
        std::vector<char*> argv;
        std::string self = "./trugtool";
        argv.push_back(self.data());
        std::vector<std::string> copies = args;
        for (std::string& arg : copies) argv.push_back(arg.data());
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(out_pipe[1]);
    close(err_pipe[1]);
    pollfd fds[2] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}};
    std::string* sinks[2] = {&result.out, &result.err};
    int open_count = 2;
    char buffer[65536];
    while (open_count > 0) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
            ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                sinks[i]->append(buffer, static_cast<size_t>(n));
            } else {
                close(fds[i].fd);
                fds[i].fd = -1;
                --open_count;
            }
        }
    }
    int wait_status = 0;
    struct rusage usage {};
    wait4(child, &wait_status, 0, &usage);
    result.max_rss_kb = usage.ru_maxrss;
    if (WIFEXITED(wait_status))
        result.status = WEXITSTATUS(wait_status);
    else if (WIFSIGNALED(wait_status))
        result.status = 128 + WTERMSIG(wait_status);
    EXPECT_EQ(result.err, "") << "the program wrote to standard error";
    return result;
}

Started::Started(const ScratchDir& dir, std::vector<std::string> args, int out_fd) {
    pid_ = fork();
    if (pid_ != 0) return;
    int sink = out_fd >= 0 ? out_fd : open("/dev/null", O_WRONLY);
    dup2(sink, 1);
    if (chdir(dir.path().c_str()) != 0) _exit(126);
    setenv("TZ", "UTC", 1);
    alarm(120);
    std::vector<char*> argv;
    std::string self = "./trugtool";
    argv.push_back(self.data());
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

bool Started::running() {
    if (pid_ <= 0) return false;
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == 0) return true;
    pid_ = -1;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : WIFSIGNALED(status) ? 128 + WTERMSIG(status) : -1;
    return false;
}

void Started::kill() {
    if (pid_ > 0) ::kill(pid_, SIGKILL);
}

int Started::wait() {
    if (pid_ <= 0) return status_;
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : WIFSIGNALED(status) ? 128 + WTERMSIG(status) : -1;
    return status_;
}
