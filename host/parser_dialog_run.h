// The run command's part of a procedure's parameter dialog: a person works it on the terminal
// screen; otherwise (batch, no terminal, or a choice given on the command line) it opens with its
// stored choice, takes the command line's choice and categories, and is confirmed through the
// same OK rules a person meets.
#pragma once

#include "dialogs/parser_dialog.h"
#include "host/console.h"
#include "host/run_command.h"

enum class DialogOutcome {
  kOK,         // the dialog's parameters stand in GetParams
  kCancelled,  // the person pressed Annulla (or the dialog refused to open)
  kRefused,    // the command line's choice was refused; the reason is printed on stderr
};

// `interactive`: a person can work the screen (stdin and stdout are a terminal, no --batch).
DialogOutcome RunParserDialog(CTarvoParserDialog& dialog, const RunOptions& options, bool interactive,
                              Console& console);
