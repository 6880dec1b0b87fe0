#include "tool/shell/own_program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace {

/// Both ends of a pipe, which no other child inherits.
class Pipe {
public:
    Pipe()
    {
        if (::pipe2(ends_.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "a pipe");
        }
    }
    ~Pipe()
    {
        CloseInput();
        ::close(ends_[0]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int Output() const { return ends_[0]; }
    int Input() const { return ends_[1]; }
    void CloseInput()
    {
        if (ends_[1] >= 0) {
            ::close(ends_[1]);
        }
        ends_[1] = -1;
    }

private:
    std::array<int, 2> ends_{-1, -1};
};

/// How the child starts: with the connection string at a descriptor of its own, and SIGPIPE as
/// usual.
class Start {
public:
    static constexpr int kStringDescriptor = 9;

    Start(const Pipe& string, const Pipe& output)
    {
        sigset_t usual;
        ::sigemptyset(&usual);
        ::sigaddset(&usual, SIGPIPE);
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawnattr_init(&attributes);
        ::posix_spawnattr_setsigdefault(&attributes, &usual);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
        ::posix_spawn_file_actions_adddup2(&actions, string.Output(), kStringDescriptor);
        ::posix_spawn_file_actions_adddup2(&actions, output.Input(), STDOUT_FILENO);
    }
    ~Start()
    {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

}  // namespace

int RunOwnProgram(const std::vector<std::string>& words, const std::string& connection_string,
                  const std::function<void(std::string_view)>& take)
{
    Pipe string;
    Pipe output;
    std::vector<std::string> all{"orvelgw", "--data-source-file",
                                 "/dev/fd/" + std::to_string(Start::kStringDescriptor)};
    all.insert(all.end(), words.begin(), words.end());
    std::vector<char*> arguments;
    arguments.reserve(all.size() + 1);
    for (std::string& word : all) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const Start start(string, output);
    pid_t child = 0;
    const int error = ::posix_spawn(&child, "/proc/self/exe", &start.actions, &start.attributes,
                                    arguments.data(), environ);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "a process");
    }
    output.CloseInput();
    // It is far shorter than what a pipe holds.
    static_cast<void>(::write(string.Input(), connection_string.data(), connection_string.size()) ==
                      0);
    string.CloseInput();
    std::array<char, 65'536> bytes{};
    for (ssize_t size = 1; size != 0;) {
        size = ::read(output.Output(), bytes.data(), bytes.size());
        if (size > 0) {
            take({bytes.data(), static_cast<std::size_t>(size)});
        } else if (size < 0 && errno != EINTR) {
            break;
        }
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
