// program.h: the program, from its words to its exit status.
#ifndef TOLVA_CLI_PROGRAM_H
#define TOLVA_CLI_PROGRAM_H

namespace cli {

// Once in a process. `words` are those of main, the program's own path first.
int runProgram(int count, char** words);

}  // namespace cli

#endif
