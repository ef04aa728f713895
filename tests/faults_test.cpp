// Every system call and every allocation of the library's ways failing in turn.
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "faults.h"
#include "host/system_calls.h"
#include "support.h"

namespace {

using S = tolva::SystemCalls;

const std::string kOld = "[s]\nk=1\n" + std::string(20000, '\n');
int blocks = 0;         // that are not freed
int failingBlock = -1;  // the allocation that fails
bool noRename = false;
std::vector<std::string> temporaryNames;

int32_t atDevice(const std::string& file, const std::function<int32_t()>& draw) {
    Host host;
    if (startHost(host, file.c_str()) != 0) return -1;
    const int32_t result = draw();
    endHost(host);
    return result;
}

// As large as is kept in a file until its rows can be put in order.
int32_t interlaced(const std::string& file) {
    static const Picture picture = {60000, 6, Bytes(360000, 7)};
    return atDevice(file, [] {
        const int32_t opened = callOpcode(opOpen);
        lpSetup->interlaceChoice = 715;
        const int32_t drawn = writeInBands(lpEMData->outputStream, picture, testPalette(), 3);
        return std::max<int32_t>({opened, drawn, lpEMData->result, callOpcode(opClose)});
    });
}

int32_t bracket(const std::string& file) {
    return atDevice(file, [] { return sendCollected(anyCells(90, 150, 8), 50, false); });
}

int32_t exported(const std::string& file) {
    const TolvaHandle setup = defaultSetup();
    const int32_t result = exportCells(anyCells(150, 150, 8), file.c_str(), setup, nullptr);
    DestroySetup(setup);
    return result;
}

int32_t copied(const std::string& file) {
    save(file + ".from", kOld);
    return zunCopy((file + ".from").c_str(), file.c_str());
}

int32_t set(const std::string& file) { return WritePrivateProfileString("s", "k", "22", file.c_str()) - 1; }

int32_t setThroughLink(const std::string& file) {
    return symlink("file", (file + ".link").c_str()) + set(file + ".link");
}

struct Scenario {
    const char* name;
    int32_t (*run)(const std::string& file);
    const char* old;  // what stays in the file where the answer is a failure, if that is promised
    bool inPlace = false;
};
const Scenario kScenarios[] = {
    {"bracket", bracket, nullptr}, {"export", exported, nullptr},         {"interlaced", interlaced, nullptr},
    {"copy", copied, nullptr},     {"profile", set, kOld.c_str()},        {"in place", set, kOld.c_str(), true},
    {"new profile", set, ""},      {"through a link", setThroughLink, ""}};

void prepare(const Scenario& scenario, const Temporary& file) {
    for (const auto& entry : std::filesystem::directory_iterator(file.folder)) std::filesystem::remove(entry.path());
    if (scenario.old != nullptr && scenario.old == kOld) save(file.path, kOld);
    noRename = scenario.inPlace;
}

// How many there were of those that the library made.
auto removeTemporaryFiles() {
    const auto removes = [](const std::string& name) { return unlink(name.c_str()) == 0; };
    const auto count = std::count_if(temporaryNames.begin(), temporaryNames.end(), removes);
    temporaryNames.clear();
    return count;
}

auto countIn(const std::string& folder, const std::string& start) {
    const std::filesystem::directory_iterator entries(folder);
    return std::count_if(begin(entries), end(entries),
                         [&](const auto& entry) { return entry.path().filename().string().starts_with(start); });
}

bool endsAsGif(const std::string& file) { return file.size() > 800 && file.ends_with(std::string("\0;", 2)); }

class Faults : public testing::Test {
  protected:
    S before = tolva::systemCalls, &table = tolva::systemCalls;
    Temporary file;
    Faults() {
        table.makeTemporary = [](char* pattern) {
            const int made = mkstemp(pattern);
            temporaryNames.push_back(pattern);
            return made;
        };
        table.rename = [](const char* from, const char* to) { return noRename ? -1 : std::rename(from, to); };
        table.sync = [](int) { return 0; };  // takes as long as all the rest
        table.allocate = [](size_t count, size_t size) {
            void* const block = failingBlock-- == 0 ? nullptr : std::calloc(count, size);
            blocks += block != nullptr;
            return block;
        };
        table.release = [](void* block) {
            blocks -= block != nullptr;
            std::free(block);
        };
    }
    ~Faults() override { table = before; }
};

}  // namespace

TEST_F(Faults, OfEverySystemCallLoseNothingAndAreTold) {
    plant<S, Does::kNothing, &S::open, &S::read, &S::flush, &S::seek, &S::tell, &S::status, &S::openFile, &S::takeRoom,
          &S::sync, &S::lookInto, &S::setOwner, &S::setMode, &S::makeTemporary, &S::rename>(table);
    plant<S, Does::kAll, &S::close, &S::closeFile>(table);
    plant<S, Does::kHalf, &S::write>(table);
    const int firstThatUndoes = kinds;  // what cannot be written at all cannot be put back
    plant<S, Does::kHalf, &S::readAt, &S::writeAt>(table);
    plant<S, Does::kNothing, &S::resize>(table);
    const int firstThatRemoves = kinds;  // or does not find what to remove
    plant<S, Does::kNothing, &S::lookAt, &S::remove>(table);
    for (const Scenario& scenario : kScenarios) {
        SCOPED_TRACE(scenario.name);
        std::string right;
        failEach([&] {
            prepare(scenario, file);
            const std::pair held(countIn("/proc/self/fd", ""), blocks);
            const int32_t result = scenario.run(file.path);
            EXPECT_EQ(std::pair(countIn("/proc/self/fd", ""), blocks), held);
            EXPECT_TRUE(removeTemporaryFiles() + countIn(file.folder, ".") == 0 || fault.kind >= firstThatRemoves);
            const std::string written = textOf(file.path);
            if (fault.kind < 0) right = written;
            EXPECT_TRUE(result == 0 || fault.kind >= 0);
            if (scenario.run == exported) {  // kept: answers 0, and a host looks at the file
                EXPECT_TRUE(written == right || !endsAsGif(written));
            } else if (result == 0 && scenario.run == interlaced) {  // kept: of waiting rows nothing is told
                EXPECT_TRUE(endsAsGif(written) && written.substr(0, 800) == right.substr(0, 800));
            } else if (result == 0) {  // kept: a source that does not open is nothing to copy
                EXPECT_TRUE((scenario.run == copied && written.empty()) || same(written, right));
            } else if (scenario.old == nullptr) {
                EXPECT_EQ(result, scenario.run == copied ? result : 303);
            } else if (!fault.stays || fault.kind < firstThatUndoes || !scenario.inPlace) {
                EXPECT_TRUE(same(written, std::string(scenario.old)));
                EXPECT_EQ(access(file, F_OK) == 0, !written.empty());
            }
        });
    }
}

TEST_F(Faults, OfEveryAllocationEndInTheLineAndTheCrash) {
    int crashed = 0;
    for (const Scenario& scenario : kScenarios) {
        SCOPED_TRACE(scenario.name);
        for (bool fails = true; fails; ++failingBlock) {
            if (failingBlock < 0) failingBlock = 0;
            prepare(scenario, file);
            const RunResult outcome = runForked([&] {
                std::signal(SIGSEGV, [](int) {  // what the ends of processes leave; on return from here it comes again
                    removeTemporaryFiles();
                    std::signal(SIGSEGV, SIG_DFL);
                });
                return scenario.run(file.path) != 0 ? 99 : failingBlock < 0 ? 0 : 1;
            });
            fails = outcome.status <= 0;
            EXPECT_LT(outcome.status, 2);
            if (outcome.status >= 0) continue;
            ++crashed;
            EXPECT_EQ(outcome.status, -SIGSEGV);
            const std::string said = outcome.said.substr(0, outcome.said.find("qemu: "));  // tells of the crash, too
            EXPECT_TRUE(said.starts_with("GloalAlloc function failed due to insufficient memory: needs ") &&
                        said.find(" bytes memory!!\n") + 16 == said.size())
                << said;
        }
        failingBlock = -1;
    }
    EXPECT_GT(crashed, 80);
}
