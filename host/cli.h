// The command line of tarvo-exchange: `init`, `list` and `run`, with --help on each and
// --version. Parsing errors are usage errors (exit 64).
#pragma once

// Parses the arguments, runs the command and returns the process's exit code.
int HostMain(int argc, char** argv);
