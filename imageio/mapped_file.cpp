// mapped_file.cpp: a mapping, and the signal that comes where its file has no bytes any more.

#include "imageio/mapped_file.h"

#include <cerrno>
#include <csignal>
#include <limits>

#include <sys/mman.h>
#include <unistd.h>

namespace imageio {
namespace {

uint8_t* mappedPages = nullptr;
uint8_t* mappedEnd = nullptr;
volatile sig_atomic_t lost = 0;
struct sigaction before;

size_t pageBytes() { return static_cast<size_t>(sysconf(_SC_PAGESIZE)); }

size_t pagesInBytes() { return static_cast<size_t>(mappedEnd - mappedPages); }

// Zeros in place of them all, because nobody wants the rest; the access is then made again. Any other such signal goes
// to whoever handled it before.
extern "C" void replaceLostPages(int signal, siginfo_t* about, void*) {
    const int error = errno;
    const uint8_t* const at = static_cast<uint8_t*>(about->si_addr);
    if (at >= mappedPages && at < mappedEnd &&
        mmap(mappedPages, pagesInBytes(), PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED) {
        lost = 1;
    } else {
        sigaction(signal, &before, nullptr);
        raise(signal);
    }
    errno = error;
}

}  // namespace

bool mapFile(MappedFile& mapped, int file, uint64_t first, size_t size) {
    if (mappedPages != nullptr || size == 0 || size > std::numeric_limits<size_t>::max() / 2) return false;
    const size_t inPage = static_cast<size_t>(first % pageBytes());
    void* const pages = mmap(nullptr, inPage + size, PROT_READ, MAP_SHARED, file, static_cast<off_t>(first - inPage));
    if (pages == MAP_FAILED) return false;
    mapped.pages = static_cast<uint8_t*>(pages);
    mapped.bytes = mapped.pages + inPage;
    mappedPages = mapped.pages;
    mappedEnd = mapped.pages + inPage + size;
    lost = 0;
    struct sigaction action = {};
    action.sa_sigaction = replaceLostPages;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGBUS, &action, &before);
    return true;
}

void unmapFile(MappedFile& mapped) {
    if (mapped.pages == nullptr) return;
    sigaction(SIGBUS, &before, nullptr);
    munmap(mapped.pages, pagesInBytes());
    mappedPages = mappedEnd = nullptr;
    mapped = {};
}

void releaseBytes(const MappedFile& mapped, size_t first, size_t count) {
    const size_t inPage = static_cast<size_t>(mapped.bytes - mapped.pages);
    const auto pageOf = [&](size_t byte) { return (inPage + byte) / pageBytes() * pageBytes(); };
    const size_t bytes = pageOf(first + count) - pageOf(first);
    if (bytes > 0) madvise(mapped.pages + pageOf(first), bytes, MADV_DONTNEED);
}

bool lostBytes() { return lost != 0; }

}  // namespace imageio
