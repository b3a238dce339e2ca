// tests/support/cli.cpp
#include "support/cli.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/table_builder.h"

namespace {

constexpr uid_t kNobody = 65534;

int status_of(int raw) { return WIFEXITED(raw) ? WEXITSTATUS(raw) : WIFSIGNALED(raw) ? 128 + WTERMSIG(raw) : -1; }

// In a child process: ./trugtool in `dir` with these arguments, its output to `out_fd`
// (or nowhere), its errors to `err_fd` (or where the tests' go).
[[noreturn]] void exec_program(const std::string& dir, std::vector<std::string> args, int out_fd, int err_fd,
                               bool as_nobody) {
    dup2(open("/dev/null", O_RDONLY), 0);
    dup2(out_fd >= 0 ? out_fd : open("/dev/null", O_WRONLY), 1);
    if (err_fd >= 0) dup2(err_fd, 2);
    if (chdir(dir.c_str()) != 0) _exit(126);
    if (as_nobody && (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) _exit(125);
    setenv("TZ", "UTC", 1);
    alarm(120);  // a hang ends as a signal rather than a stuck suite
    args.insert(args.begin(), "./trugtool");
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

}  // namespace

ScratchDir::ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "trugtool-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        ADD_FAILURE() << "mkdtemp failed: " << std::strerror(errno);
        return;
    }
    path_ = pattern;
    chmod(path_.c_str(), 0755);
    const char* program = std::getenv("TRUGTOOL");
    if (symlink(program != nullptr ? program : TRUGTOOL_PATH, file("trugtool").c_str()) != 0)
        ADD_FAILURE() << "cannot link the program: " << std::strerror(errno);
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
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
    const std::string err_path = path_ + ".err";  // beside the directory, not in it
    const int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int out[2];
    if (err < 0 || pipe(out) != 0) {
        ADD_FAILURE() << "no pipe or error file";
        return result;
    }
    fcntl(out[0], F_SETFD, FD_CLOEXEC);
    Started child(*this, args, out[1], err, as_nobody);
    close(out[1]);
    close(err);
    char buffer[65536];
    for (ssize_t n; (n = ::read(out[0], buffer, sizeof buffer)) != 0;) {
        if (n > 0) result.out.append(buffer, static_cast<size_t>(n));
        else if (errno != EINTR) break;
    }
    close(out[0]);
    result.status = child.wait();
    result.max_rss_kb = child.max_rss_kb();
    result.err = read_file(err_path);
    std::remove(err_path.c_str());
    EXPECT_EQ(result.err, "") << "the program wrote to standard error";
    return result;
}

Started::Started(const ScratchDir& dir, std::vector<std::string> args, int out_fd, int err_fd, bool as_nobody) {
    pid_ = fork();
    if (pid_ == 0) exec_program(dir.path(), std::move(args), out_fd, err_fd, as_nobody);
}

bool Started::running() {
    int raw = 0;
    if (pid_ <= 0) return false;
    if (waitpid(pid_, &raw, WNOHANG) == 0) return true;
    status_ = status_of(raw);
    pid_ = -1;
    return false;
}

void Started::kill() {
    if (pid_ > 0) ::kill(pid_, SIGKILL);
}

int Started::wait() {
    int raw = 0;
    struct rusage usage {};
    if (pid_ > 0 && wait4(pid_, &raw, 0, &usage) == pid_) status_ = status_of(raw), max_rss_kb_ = usage.ru_maxrss;
    pid_ = -1;
    return status_;
}
