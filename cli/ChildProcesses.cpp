#include "cli/ChildProcesses.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <optional>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long it takes at most until an end is seen of a child that has closed its outputs before.
constexpr milliseconds kLook{20};
constexpr milliseconds kLong{60000};

/// What posix_spawn() is to do in the child, given back when this goes.
class SpawnSetup {
public:
    SpawnSetup() {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawnattr_init(&attributes);
    }
    ~SpawnSetup() {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

/// The ends of a pipe that no other child keeps open.
int makePipe(kernel::FileDescriptor& readEnd, kernel::FileDescriptor& writeEnd) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return errno;
    }
    readEnd = kernel::FileDescriptor(ends[0]);
    writeEnd = kernel::FileDescriptor(ends[1]);
    return 0;
}

sigset_t heldSignals() {
    sigset_t held{};
    sigemptyset(&held);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&held, signal);
    }
    return held;
}

/// The mask of signals of this thread, put back when this goes.
class MaskKept {
public:
    MaskKept(int how, const sigset_t& mask) { ::pthread_sigmask(how, &mask, &before); }
    ~MaskKept() { ::pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    MaskKept(const MaskKept&) = delete;
    MaskKept& operator=(const MaskKept&) = delete;

    sigset_t before{};
};

} // namespace

void ChildProcesses::takeSignals() {
    const sigset_t held = heldSignals();
    ::pthread_sigmask(SIG_UNBLOCK, &held, nullptr);
}

ChildProcesses::~ChildProcesses() {
    signalAll(SIGKILL);
    for (const Child& child : children_) {
        while (child.process > 0 && ::waitpid(child.process, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
}

int ChildProcesses::start(const std::string& program, const std::vector<std::string>& arguments) {
    Child& child = children_.emplace_back();
    std::array<kernel::FileDescriptor, kOutputs> writeEnds;
    SpawnSetup setup;
    ::posix_spawn_file_actions_addopen(&setup.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    for (const auto& [output, number] : {std::pair(kStandard, STDOUT_FILENO), std::pair(kError, STDERR_FILENO)}) {
        if (const int error = makePipe(child.pipes[output].file, writeEnds[output]); error != 0) {
            child.pipes = {};
            return error;
        }
        ::posix_spawn_file_actions_adddup2(&setup.actions, writeEnds[output].number(), number);
    }
    const sigset_t held = heldSignals();
    ::posix_spawnattr_setsigmask(&setup.attributes, &held);
    ::posix_spawnattr_setflags(&setup.attributes, POSIX_SPAWN_SETSIGMASK);
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str())); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    }
    pointers.push_back(nullptr);
    const int error =
        ::posix_spawn(&child.process, program.c_str(), &setup.actions, &setup.attributes, pointers.data(), environ);
    if (error != 0) {
        child.process = -1;
        child.pipes = {};
    }
    return error;
}

void ChildProcesses::wait(const TakeLine& takeLine, const std::function<int()>& signalCame) {
    std::optional<steady_clock::time_point> deadline; // of the children's end, once a signal came
    bool isKilled = false;
    const MaskKept held(SIG_BLOCK, heldSignals());
    const TakeLine takeWithSignals = [&](std::size_t child, Output output, const std::string& line) {
        const MaskKept usual(SIG_SETMASK, held.before); // to tell a line may take long
        takeLine(child, output, line);
    };
    while (hasRunning()) {
        if (const int signal = signalCame(); signal != 0 && !deadline) {
            signalAll(signal);
            deadline = steady_clock::now() + patience_;
        }
        const bool isOver = deadline && !isKilled && steady_clock::now() >= *deadline;
        if (isOver) {
            signalAll(SIGKILL);
            isKilled = true;
        }
        const auto rest =
            deadline && !isKilled ? std::chrono::ceil<milliseconds>(*deadline - steady_clock::now()) : kLong;
        poll(takeWithSignals, std::clamp(rest, milliseconds(0), kLong), held.before);
        collect();
    }
}

bool ChildProcesses::isOpen(const Child& child) {
    return std::ranges::any_of(child.pipes, [](const Pipe& pipe) { return static_cast<bool>(pipe.file); });
}

void ChildProcesses::read(std::size_t child, Output output, const TakeLine& takeLine) {
    Pipe& pipe = children_[child].pipes[output];
    std::array<char, 65536> bytes{};
    const ssize_t size = ::read(pipe.file.number(), bytes.data(), bytes.size());
    if (size < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    pipe.line.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    if (size <= 0) {
        pipe.file = kernel::FileDescriptor();
        pipe.line += pipe.line.empty() ? "" : "\n";
    }
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = pipe.line.find('\n', begin)) != std::string::npos; begin = end + 1) {
        takeLine(child, output, pipe.line.substr(begin, end - begin));
    }
    pipe.line.erase(0, begin);
}

void ChildProcesses::poll(const TakeLine& takeLine, milliseconds most, const sigset_t& mask) {
    std::vector<pollfd> files;
    std::vector<std::pair<std::size_t, Output>> owners;
    for (std::size_t child = 0; child < children_.size(); ++child) {
        if (children_[child].process > 0 && !isOpen(children_[child])) {
            most = std::min(most, kLook);
        }
        for (const Output output : {kStandard, kError}) {
            if (const auto& file = children_[child].pipes[output].file) {
                files.push_back({file.number(), POLLIN, 0});
                owners.emplace_back(child, output);
            }
        }
    }
    const timespec time{most.count() / 1000, (most.count() % 1000) * 1000000};
    if (::ppoll(files.data(), files.size(), &time, &mask) <= 0) {
        return;
    }
    for (std::size_t at = 0; at < files.size(); ++at) {
        if (files[at].revents != 0) {
            read(owners[at].first, owners[at].second, takeLine);
        }
    }
}

// One that has ended is waited for when all that it wrote has been read.
void ChildProcesses::collect() {
    for (Child& child : children_) {
        if (child.process > 0 && !isOpen(child) && ::waitpid(child.process, &child.status, WNOHANG) != 0) {
            child.process = -1;
        }
    }
}

void ChildProcesses::signalAll(int signal) const {
    for (const Child& child : children_) {
        if (child.process > 0) {
            ::kill(child.process, signal);
        }
    }
}

bool ChildProcesses::hasRunning() const {
    return std::ranges::any_of(children_, [](const Child& child) { return child.process > 0; });
}
