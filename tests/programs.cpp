#include "programs.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>
#include <utility>

Words::Words(const char* text) {
    std::istringstream words(text);
    for (std::string word; words >> word;) push_back(word);
}

Words operator+(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

namespace {

struct Ends {
    int ours = -1;
    int theirs = -1;
};

Ends connect(const Lead& lead, const std::filesystem::path& folder, bool isInput) {
    const int flags = isInput ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
    if (!lead.file.empty()) return {-1, open((folder / lead.file).c_str(), flags | O_CLOEXEC, 0666)};
    if (lead.descriptor >= 0) return {-1, fcntl(lead.descriptor, F_DUPFD_CLOEXEC, 3)};
    if (lead.descriptor == kTerminal) {
        const int ours = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        grantpt(ours);
        unlockpt(ours);
        return {ours, open(ptsname(ours), O_RDWR | O_NOCTTY | O_CLOEXEC)};
    }
    int pipe[2] = {-1, -1};
    if (lead.descriptor != kClosed && pipe2(pipe, O_CLOEXEC) != 0) std::abort();
    if (isInput) std::swap(pipe[0], pipe[1]);
    if (lead.descriptor == kNobody) close(std::exchange(pipe[0], -1));
    return {pipe[0], pipe[1]};
}

std::string drain(int end) {
    std::string text;
    char bytes[4096];
    for (ssize_t got; (got = read(end, bytes, sizeof bytes)) > 0;) text.append(bytes, static_cast<size_t>(got));
    close(end);
    return text;
}

}  // namespace

RunResult runProgram(const Launch& launch) {
    Words words = launch.before + (launch.emulated ? Words{TOLVA_EMULATOR} : Words{}) + launch.words;
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const Ends ends[] = {connect(launch.in, launch.folder, true), connect(launch.out, launch.folder, false),
                         connect(launch.err, launch.folder, false)};
    signal(SIGPIPE, SIG_IGN);  // the test's own: a program need not read all of its input
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGPIPE, SIG_DFL);
        for (int i = 0; i < 3; ++i) {
            if (dup2(ends[i].theirs, i) < 0) close(i);
        }
        if (launch.folder.empty() || chdir(launch.folder.c_str()) == 0) execvp(arguments[0], arguments.data());
        _exit(127);
    }
    for (const Ends& each : ends) close(each.theirs);
    auto out = std::async(std::launch::async, drain, ends[1].ours);
    auto said = std::async(std::launch::async, drain, ends[2].ours);
    const std::string& input = launch.input;
    for (size_t sent = 0; sent < input.size();) {
        const ssize_t some = write(ends[0].ours, input.data() + sent, input.size() - sent);
        if (some <= 0) break;
        sent += static_cast<size_t>(some);
    }
    close(ends[0].ours);
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status), out.get(), said.get()};
}

RunResult runForked(const std::function<int()>& run) {
    const int said = memfd_create("said", MFD_CLOEXEC);
    std::fflush(nullptr);  // or the child writes it, too
    const pid_t child = fork();
    if (child == 0) {
        const rlimit noCore = {0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        for (const int output : {STDOUT_FILENO, STDERR_FILENO}) dup2(said, output);
        const int status = run();
        std::fflush(nullptr);
        _exit(status);
    }
    int status = 0;
    waitpid(child, &status, 0);
    lseek(said, 0, SEEK_SET);
    return {WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status), "", drain(said)};
}

Temporary::Temporary() : folder(std::filesystem::temp_directory_path() / "tolva-test-XXXXXX") {
    path = std::string(mkdtemp(folder.data())) + "/file";
}

Temporary::~Temporary() { std::filesystem::remove_all(folder); }

std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void save(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }
