// The terminal front of the parameter dialogs: the dialog's template (caption, texts, choice box,
// check list with its columns, buttons) drawn full-screen with ncurses and worked with the arrow
// keys, space, Enter, Tab and Esc; redrawn whenever the terminal changes size. Message boxes the
// dialog raises meanwhile appear on the screen. Uses the process's terminal (stdin, stdout);
// host thread only, one at a time.
#pragma once

#include "dialogs/parser_dialog.h"

class DialogScreen : public IDialogFront {
 public:
  // True once OK was accepted; false for Annulla, Esc, Ctrl-C, a stop signal, or a terminal
  // that cannot be used (said on stderr).
  bool RunModal(CTarvoParserDialog& dialog) override;
};
