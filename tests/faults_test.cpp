// Every system call and every allocation of the library's ways failing in turn, and every stop of a host's.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <set>

#include "faults.h"
#include "host/system_calls.h"
#include "support.h"

namespace {

using tolva::SystemCalls;

const std::string kOldProfile = "[s]\nk=1\n" + std::string(20000, '\n'), kNoProfile = "";

Asked* asked = nullptr;  // a host that is asked whether to stop
int blocks = 0;          // that are not freed
int failingBlock = -1;   // the allocation that fails
bool noRename = false;

int32_t atDevice(const std::string& file, const std::function<int32_t()>& draw, int32_t interlaceChoice = 0) {
    Host host;
    if (startHost(host, file.c_str()) != 0) return -1;
    host.settings()->interlaceChoice = interlaceChoice;
    if (asked != nullptr) host.status = asked->record;
    const int32_t result = draw();
    endHost(host);
    return result;
}

int32_t plain(const std::string& file) {
    return atDevice(file, [] { return sendPicture(noise(150, 150, 256, 1)); });
}

int32_t bracket(const std::string& file) {
    return atDevice(file, [] { return sendCollected(anyCells(90, 150, 8), 50, false); });
}

int32_t exported(const std::string& file) {
    const TolvaHandle setup = defaultSetup();
    const int32_t result = exportCells(anyCells(150, 150, 8), file.c_str(), setup, asked ? asked->address() : nullptr);
    DestroySetup(setup);
    return result;
}

// As large as is kept in a file until its rows can be put in order.
int32_t interlaced(const std::string& file) {
    static const Picture picture = {60000, 6, Bytes(360000, 7)};
    const auto draw = [] {
        const int32_t opened = callOpcode(opOpen);
        const int32_t drawn = writeInBands(lpEMData->outputStream, picture, testPalette(), 3);
        const int32_t pushed = std::max<int32_t>(drawn, lpEMData->result);
        return std::max({opened, pushed, callOpcode(opClose)});
    };
    return atDevice(file, draw, 715);
}

int32_t copied(const std::string& file) {
    save(file + ".from", kOldProfile);
    return zunCopy((file + ".from").c_str(), file.c_str());
}

int32_t changed(const std::string& file) {
    save(file, kOldProfile);
    return WritePrivateProfileString("s", "k", "22", file.c_str()) - 1;
}

int32_t changedInPlace(const std::string& file) {
    noRename = true;
    const int32_t result = changed(file);
    noRename = false;
    return result;
}

int32_t made(const std::string& file) { return WritePrivateProfileString("s", "k", "22", file.c_str()) - 1; }

int32_t madeThroughALink(const std::string& file) {
    [[maybe_unused]] const int linked = symlink("file", (file + ".link").c_str());
    return made(file + ".link");
}

struct Scenario {
    const char* name;
    int32_t (*run)(const std::string& file);
    const std::string* old;  // what stays in the file where the answer is a failure, if that is promised
};
const Scenario kScenarios[] = {{"a picture", plain, nullptr},
                               {"an interlaced picture", interlaced, nullptr},
                               {"a bracket", bracket, nullptr},
                               {"an export", exported, nullptr},
                               {"a copy", copied, nullptr},
                               {"a profile", changed, &kOldProfile},
                               {"a profile in place", changedInPlace, &kOldProfile},
                               {"a new profile", made, &kNoProfile},
                               {"a profile through a link", madeThroughALink, &kNoProfile}};

std::set<std::string> namesIn(const std::string& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) names.insert(entry.path().filename());
    return names;
}

int removeTemporaryFiles() {
    const int count = temporaryFiles();
    for (const std::string& name : temporaryNames) unlink(name.c_str());
    temporaryNames.clear();
    return count;
}

bool endsAsGif(const std::string& file) { return file.size() > 800 && file.ends_with(std::string("\0;", 2)); }

class Faults : public testing::Test {
  protected:
    SystemCalls before = tolva::systemCalls;
    Temporary file;
    Faults() {
        removeTemporaryFiles();  // records them from now on
        SystemCalls& table = tolva::systemCalls;
        table.rename = [](const char* from, const char* to) { return noRename ? -1 : std::rename(from, to); };
        table.sync = [](int) { return 0; };  // takes as long as all the rest
        table.allocate = [](size_t count, size_t size) {
            void* const block = failingBlock-- == 0 ? nullptr : std::calloc(count, size);
            if (block != nullptr) ++blocks;
            return block;
        };
        table.release = [](void* block) {
            if (block != nullptr) --blocks;
            std::free(block);
        };
    }
    ~Faults() override { tolva::systemCalls = before; }
};

}  // namespace

TEST_F(Faults, OfEverySystemCallLoseNothingAndAreTold) {
    using S = SystemCalls;
    plant<S, Does::kNothing, &S::open, &S::read, &S::flush, &S::seek, &S::tell, &S::status, &S::openFile, &S::takeRoom,
          &S::sync, &S::lookInto, &S::setOwner, &S::setMode, &S::makeTemporary, &S::rename>(tolva::systemCalls);
    plant<S, Does::kAll, &S::close, &S::closeFile>(tolva::systemCalls);
    plant<S, Does::kHalf, &S::write>(tolva::systemCalls);
    const int firstThatUndoes = kinds;  // what cannot be written at all cannot be put back
    plant<S, Does::kHalf, &S::readAt, &S::writeAt>(tolva::systemCalls);
    plant<S, Does::kNothing, &S::resize>(tolva::systemCalls);
    const int firstThatRemoves = kinds;  // or does not find what to remove
    plant<S, Does::kNothing, &S::lookAt, &S::remove>(tolva::systemCalls);
    for (const Scenario& scenario : kScenarios) {
        SCOPED_TRACE(scenario.name);
        std::string right;
        failEach([&] {
            for (const std::string& name : namesIn(file.folder)) unlink((file.folder + '/' + name).c_str());
            const size_t descriptors = namesIn("/proc/self/fd").size();
            const int held = blocks;
            const int32_t result = scenario.run(file.path);
            EXPECT_EQ(namesIn("/proc/self/fd").size(), descriptors);
            EXPECT_EQ(blocks, held);
            const std::set<std::string> names = namesIn(file.folder);
            const int strays = removeTemporaryFiles() + (!names.empty() && names.begin()->starts_with('.'));
            EXPECT_TRUE(strays == 0 || fault.kind >= firstThatRemoves);
            const std::string written = textOf(file.path);
            if (fault.kind < 0) right = written;
            EXPECT_TRUE(result == 0 || fault.kind >= 0);
            if (scenario.run == exported) {  // kept: answers 0, and a host looks at the file
                EXPECT_TRUE(written == right || !endsAsGif(written));
            } else if (result == 0 && scenario.run == interlaced) {
                // Kept: of the file in which the rows wait nothing is told.
                EXPECT_TRUE(endsAsGif(written) && std::equal(right.begin(), right.begin() + 800, written.begin()));
            } else if (result == 0) {
                EXPECT_TRUE(same(written, right));
            } else if (scenario.old != nullptr &&
                       !(fault.stays && fault.kind >= firstThatUndoes && scenario.run == changedInPlace)) {
                EXPECT_TRUE(same(written, *scenario.old));
                EXPECT_EQ(access(file, F_OK) == 0, !written.empty());
            }
        });
    }
}

TEST_F(Faults, OfEveryAllocationEndInTheLineAndTheCrash) {
    const std::string folder = file.folder, out = folder + "/out";
    int crashed = 0;
    for (const Scenario& scenario : kScenarios) {
        SCOPED_TRACE(scenario.name);
        for (int n = 0, left = 0; left == 0; ++n) {
            const pid_t child = fork();
            if (child == 0) {
                const rlimit noCore = {0, 0};
                setrlimit(RLIMIT_CORE, &noCore);
                signal(SIGSEGV, [](int) {  // what the ends of processes leave; on return from here it comes again
                    removeTemporaryFiles();
                    signal(SIGSEGV, SIG_DFL);
                });
                if (std::freopen(out.c_str(), "w", stdout) == nullptr) _exit(99);
                failingBlock = n;
                const int32_t result = scenario.run(file.path);
                _exit(result != 0 ? 98 : failingBlock >= 0);
            }
            int status = 0;
            waitpid(child, &status, 0);
            const std::string line = textOf(out);
            for (const std::string& name : namesIn(folder)) unlink((folder + '/' + name).c_str());
            left = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
            ASSERT_LT(left, 2) << n;
            if (WIFEXITED(status)) continue;
            ++crashed;
            EXPECT_EQ(WTERMSIG(status), SIGSEGV);
            EXPECT_TRUE(line.starts_with("GloalAlloc function failed due to insufficient memory: needs ") &&
                        line.find(" bytes memory!!\n") + 16 == line.size())
                << line;
        }
    }
    EXPECT_GT(crashed, 80);
}

TEST_F(Faults, StopsAreAnsweredAndLeaveNoGif) {
    for (const Scenario& scenario : {kScenarios[0], kScenarios[2], kScenarios[3]}) {
        SCOPED_TRACE(scenario.name);
        for (const bool stays : {false, true}) {
            for (int n = 0, count = 1; n <= count; ++n) {
                Asked host;
                asked = &host;
                host.within = [&] {
                    const int turn = static_cast<int>(host.calls.size());
                    host.answer = turn == n || (stays && turn > n) ? 1 : 0;
                };
                const int32_t result = scenario.run(file.path);
                asked = nullptr;
                const bool stopped = static_cast<int>(host.calls.size()) > n;
                count = stopped ? n + 1 : n;
                // A stop that is taken back before the close may leave no more than an empty file.
                EXPECT_TRUE(result == (stopped && scenario.run != exported ? 901 : 0) || (!stays && stopped)) << n;
                EXPECT_EQ(endsAsGif(textOf(file.path)), !stopped) << n;
                unlink(file);
            }
        }
    }
}
