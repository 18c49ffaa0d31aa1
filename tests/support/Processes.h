#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

/// What a command of the shell prints.
inline std::string outputOf(const std::string& command) {
    std::string out;
    FILE* pipe = ::popen(command.c_str(), "r");
    for (int byte = 0; (byte = std::fgetc(pipe)) != EOF;) {
        out.push_back(static_cast<char>(byte));
    }
    ::pclose(pipe);
    return out;
}

/// Runs `body` in a process of its own; what it answers, or minus the signal that ended it.
inline int inChild(const std::function<int()>& body) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(body());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}
