// The command line of tarvo-exchange: `init`, `list` and `run`, with --help on each and
// --version. Parsing errors are usage errors (exit 64).
#pragma once

// Parses the arguments, runs the command and returns the process's exit code.
int HostMain(int argc, char** argv);

// Overwrites with '*', in place, the values of the password options among the arguments
// ("--db-password x", "--http-password=x", ...), so that once they are parsed other users of
// the machine no longer read them in /proc/PID/cmdline.
void HidePasswordArguments(int argc, char** argv);
