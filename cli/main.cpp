// main.cpp: the process; all of it is the program's, which tests run without it.

#include "cli/program.h"

int main(int count, char** words) { return cli::runProgram(count, words); }
