// mapped_file.cpp: a mapping, and the signal that comes where its file has no bytes any more.

#include "imageio/mapped_file.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace imageio {
namespace {

struct Mapping {
    uint8_t* begin;
    uint8_t* end;
    int file;           // a descriptor of its own
    struct stat about;  // when it was mapped
    struct sigaction before;
    volatile sig_atomic_t lost;
} mapping;

size_t pageBytes() { return static_cast<size_t>(sysconf(_SC_PAGESIZE)); }
size_t mappingBytes() { return static_cast<size_t>(mapping.end - mapping.begin); }

// Zeros in place of them all, because nobody wants the rest; the access is then made again. Any other such signal goes
// to whoever handled it before.
extern "C" void replaceLostPages(int signal, siginfo_t* about, void*) {
    const int error = errno;
    const uint8_t* const at = static_cast<uint8_t*>(about->si_addr);
    const bool isOurs = about->si_code > 0 && at >= mapping.begin && at < mapping.end;
    if (isOurs &&
        mmap(mapping.begin, mappingBytes(), PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED) {
        mapping.lost = 1;
    } else {
        sigaction(signal, &mapping.before, nullptr);
        raise(signal);
    }
    errno = error;
}

bool isSame(const struct stat& a, const struct stat& b) {
    return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

bool mapFile(MappedFile& mapped, int file, uint64_t first, size_t size) {
    if (mapping.begin != nullptr || size > std::numeric_limits<size_t>::max() / 2) return false;
    mapping.file = fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const size_t inPage = static_cast<size_t>(first % pageBytes());
    void* pages = MAP_FAILED;
    if (mapping.file >= 0 && fstat(mapping.file, &mapping.about) == 0)
        pages = mmap(nullptr, inPage + size, PROT_READ, MAP_SHARED, file, static_cast<off_t>(first - inPage));
    if (pages == MAP_FAILED) {
        if (mapping.file >= 0) close(mapping.file);
        return false;
    }
    mapping.begin = static_cast<uint8_t*>(pages);
    mapping.end = mapping.begin + inPage + size;
    mapping.lost = 0;
    mapped.pages = mapping.begin;
    mapped.bytes = mapping.begin + inPage;
    struct sigaction action = {};
    action.sa_sigaction = replaceLostPages;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGBUS, &action, &mapping.before);
    return true;
}

void unmapFile(MappedFile& mapped) {
    if (mapped.pages == nullptr) return;
    sigaction(SIGBUS, &mapping.before, nullptr);
    munmap(mapping.begin, mappingBytes());
    close(mapping.file);
    mapping.begin = mapping.end = nullptr;
    mapped = {};
}

void releaseBytes(const MappedFile& mapped, size_t first, size_t count) {
    const size_t inPage = static_cast<size_t>(mapped.bytes - mapped.pages);
    const auto pageOf = [&](size_t byte) { return (inPage + byte) / pageBytes() * pageBytes(); };
    madvise(mapped.pages + pageOf(first), pageOf(first + count) - pageOf(first), MADV_DONTNEED);
}

const char* whyUnreadable(const MappedFile& mapped) {
    struct stat now = {};
    if (mapped.pages == nullptr) return nullptr;
    if (fstat(mapping.file, &now) != 0 || !isSame(now, mapping.about)) return "was changed while it was read";
    return mapping.lost != 0 ? std::strerror(EIO) : nullptr;
}

}  // namespace imageio
