// The server of a source, to be killed and restarted. scripts/with-servers has created it.
#pragma once

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>

#include "sources/Source.h"

/// Kills the server with all of its processes and waits until they are gone. Returns whether it
/// ran.
inline bool KillServer(const Source& source)
{
    pid_t pid = 0;
    std::ifstream(source.ServerFile("pid")) >> pid;
    if (pid <= 1 || ::kill(-pid, SIGKILL) != 0) {
        return false;
    }
    for (int tries = 0; ::kill(-pid, 0) == 0 && tries < 1000; ++tries) {
        ::waitpid(pid, nullptr, WNOHANG);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

/// Restarts it and waits until connect() returns a handle, which is returned; empty if it never
/// does.
template <class Connect>
std::string RestartedServer(const Source& source, Connect connect)
{
    const std::string start = source.ServerFile("start");
    if (::fork() == 0) {
        ::setsid();
        ::execl(start.c_str(), start.c_str(), nullptr);
        ::_exit(127);
    }
    std::string handle;
    for (int tries = 0; handle.empty() && tries < 300; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        handle = connect();
    }
    return handle;
}
