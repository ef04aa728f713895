// Asks for more than there is: the process must print its line and crash.
#include <sys/resource.h>

#include <tolva/host.h>

int main() {
    const rlimit little = {64u << 20, 64u << 20};
    setrlimit(RLIMIT_AS, &little);
    GlobalAlloc(66, 0xFFFFFFF0u);
    return 0;
}
