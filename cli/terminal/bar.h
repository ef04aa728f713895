// bar.h: how far an export is, on a terminal.
#ifndef TOLVA_CLI_TERMINAL_BAR_H
#define TOLVA_CLI_TERMINAL_BAR_H

#include <cstddef>
#include <cstdint>

namespace cli {

enum class Stage { kReading, kScaling, kReducing, kWriting };

// Draws only where `wanted` and standard error is a terminal.
void startBar(bool wanted);
// A stage goes from where the bar stands to its own end: one that is left out leaves its share to the next.
void enterStage(Stage stage);
void showPart(uint64_t done, uint64_t whole);
// Of many pictures; `remark` stands behind the numbers.
void showCount(size_t done, size_t whole, const char* remark);
// Before anything else is printed.
void clearBar();

}  // namespace cli

#endif
