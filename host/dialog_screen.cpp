#include "host/dialog_screen.h"

#include <curses.h>
#include <langinfo.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "host/stop_signals.h"
#include "platform/host_ui.h"

namespace {
constexpr int kMinWidth = 40;
constexpr int kMinHeight = 12;
constexpr int kKeyEnter = '\n';
constexpr int kKeyEscape = 27;
constexpr int kKeyCtrlC = 3;
constexpr int kKeyCtrlL = 12;
constexpr int kPollMs = 200;

// Takes over the terminal for its lifetime and gives it back (also on an exception).
class Terminal {
 public:
  Terminal() {
    const char* current = std::setlocale(LC_CTYPE, nullptr);
    saved_locale_ = current ? current : "C";
    std::setlocale(LC_CTYPE, "");
    utf8_ = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
    std::fflush(stdout);
    screen_ = newterm(nullptr, stdout, stdin);
    if (!screen_) return;
    set_term(screen_);
    raw();
    noecho();
    keypad(stdscr, TRUE);
    set_escdelay(25);
    curs_set(0);
    timeout(kPollMs);
  }
  ~Terminal() {
    if (screen_) {
      endwin();
      delscreen(screen_);
    }
    std::setlocale(LC_CTYPE, saved_locale_.c_str());
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  bool Ready() const { return screen_ != nullptr; }
  // Windows-1252 text for the screen: UTF-8 on a UTF-8 terminal, else other letters as '?'.
  std::string Show(const CString& text) const {
    if (utf8_) return tarvo::Cp1252ToUtf8(text);
    std::string out = text;
    for (char& c : out)
      if (static_cast<unsigned char>(c) >= 0x80) c = '?';
    return out;
  }

 private:
  SCREEN* screen_ = nullptr;
  std::string saved_locale_;
  bool utf8_ = false;
};

// Cut to `width` characters (Windows-1252 is one byte each) and padded.
CString Fit(const CString& text, int width, int format = LVCFMT_LEFT) {
  if (width <= 0) return {};
  CString s = text.substr(0, static_cast<size_t>(width));
  size_t pad = static_cast<size_t>(width) - s.size();
  if (format == LVCFMT_CENTER) return CString(pad / 2, ' ') + s + CString(pad - pad / 2, ' ');
  if (format == LVCFMT_RIGHT) return CString(pad, ' ') + s;
  return s + CString(pad, ' ');
}

// Lines of at most `width` characters, broken at blanks where possible.
std::vector<CString> Wrap(const CString& text, int width) {
  std::vector<CString> lines;
  for (size_t start = 0; start <= text.size();) {
    size_t end = text.find('\n', start);
    CString paragraph = text.substr(start, end == CString::npos ? CString::npos : end - start);
    while (static_cast<int>(paragraph.size()) > width) {
      size_t cut = paragraph.rfind(' ', static_cast<size_t>(width));
      if (cut == CString::npos || cut == 0) cut = static_cast<size_t>(width);
      lines.push_back(paragraph.substr(0, cut));
      paragraph = tarvo::TrimLeft(paragraph.substr(cut), " ");
    }
    lines.push_back(paragraph);
    if (end == CString::npos) break;
    start = end + 1;
  }
  return lines;
}

class Screen : public IHostUI {
 public:
  Screen(CTarvoParserDialog& dialog, const Terminal& terminal)
      : dialog_(dialog), term_(terminal), signals_at_start_(StopSignals::Count()) {
    for (const CDialogItem& item : dialog.GetTemplate().items)
      if (item.kind != CDialogItem::Kind::kStatic) focusable_.push_back(&item);
    FocusOn(dialog.GetFocusId());
    if (!CanFocus(focus_)) Move(+1);
  }

  bool Run();

  void MessageBox(const CString& text, int) override { Popup(text, nullptr); }
  bool AskYesNo(const CString& text, bool defaultYes) override {
    bool answer = defaultYes;
    Popup(text + (defaultYes ? " [S/n]" : " [s/N]"), &answer);
    return answer;
  }
  bool EditParameters(const CString&, std::vector<HostParam>&) override { return true; }

 private:
  using Kind = CDialogItem::Kind;
  // Where the controls stand on the current terminal size.
  struct Layout {
    int width = 0, height = 0;
    std::map<int, int> row;  // control id -> first row
    int list_rows = 0;       // rows of the list below its header
    int buttons_row = 0;
  };

  const CDialogItem& Focused() const { return *focusable_[static_cast<size_t>(focus_)]; }
  bool CanFocus(int index) const {
    if (index < 0 || index >= static_cast<int>(focusable_.size())) return false;
    const CDialogItem& item = *focusable_[static_cast<size_t>(index)];
    if (item.kind == Kind::kListView) return List(item.id) && List(item.id)->IsWindowEnabled();
    if (item.kind == Kind::kComboBox) return Combo(item.id) && Combo(item.id)->IsWindowEnabled();
    return true;
  }
  // Next focusable control in `step` direction, wrapping around.
  void Move(int step) {
    int n = static_cast<int>(focusable_.size());
    for (int i = 1; i <= n; ++i) {
      int candidate = ((focus_ + step * i) % n + n) % n;
      if (CanFocus(candidate)) {
        focus_ = candidate;
        return;
      }
    }
  }
  void FocusOn(int id) {
    for (size_t i = 0; i < focusable_.size(); ++i)
      if (focusable_[i]->id == id && CanFocus(static_cast<int>(i))) focus_ = static_cast<int>(i);
  }
  CComboBox* Combo(int id) const { return dialog_.GetComboBox(id); }
  CTarvoListCtrl* List(int id) const { return dialog_.GetListCtrl(id); }

  Layout Measure() const;
  void Draw();
  void DrawCombo(const CDialogItem& item, const Layout& l, bool focused);
  void DrawList(const CDialogItem& item, const Layout& l, bool focused);
  void DrawDropDown(const CDialogItem& item, const Layout& l);
  void Put(int y, int x, const CString& text, attr_t attributes = A_NORMAL) {
    attrset(attributes);
    mvaddstr(y, x, term_.Show(text).c_str());
    attrset(A_NORMAL);
  }
  bool Stopped() const { return StopSignals::Count() > signals_at_start_; }
  // Shows `text` over the dialog until Enter, space or Esc; with `answer` it is a question.
  void Popup(const CString& text, bool* answer);
  void SelectChoice(const CDialogItem& combo, int index) {
    CComboBox* c = Combo(combo.id);
    if (!c || index < 0 || index >= c->GetCount() || index == c->GetCurSel()) return;
    c->SetCurSel(index);
    dialog_.OnCommand(combo.id, CBN_SELCHANGE);
  }
  // OK pressed: true when the dialog accepts it; otherwise the focus goes where it asks.
  bool PressOK() {
    if (dialog_.Confirm()) return true;
    FocusOn(dialog_.GetFocusId());
    return false;
  }

  CTarvoParserDialog& dialog_;
  const Terminal& term_;
  int signals_at_start_;
  std::vector<const CDialogItem*> focusable_;
  int focus_ = 0;
  int cursor_ = 0;  // the list's current row
  int top_ = 0;     // the list's first row shown
  bool dropped_ = false;
  int dropped_cursor_ = 0;
  const CString* popup_ = nullptr;
};

Screen::Layout Screen::Measure() const {
  Layout l;
  l.width = COLS;
  l.height = LINES;
  l.buttons_row = l.height - 2;
  int row = 2;
  for (const CDialogItem& item : dialog_.GetTemplate().items) {
    if (item.kind == Kind::kButton) continue;
    l.row[item.id] = row;
    if (item.kind == Kind::kStatic) row += 1;
    if (item.kind == Kind::kComboBox) row += 2;
    if (item.kind == Kind::kListView) {
      l.list_rows = std::max(1, l.buttons_row - 2 - row);
      row += l.list_rows + 1;
    }
  }
  return l;
}

void Screen::Draw() {
  erase();
  Layout l = Measure();
  if (l.width < kMinWidth || l.height < kMinHeight) {
    Put(0, 0, tarvo::StrFormat("Terminale troppo piccolo (minimo %dx%d)", kMinWidth, kMinHeight));
    refresh();
    return;
  }
  const CDialogTemplate& t = dialog_.GetTemplate();
  box(stdscr, 0, 0);
  Put(0, 2, " " + t.caption + " ", A_BOLD);
  Put(l.height - 1, 2, Fit(" Frecce: sposta  Spazio: scegli  Tab: campo  Invio: OK  Esc: Annulla ", l.width - 4));
  int inner = l.width - 4;
  for (const CDialogItem& item : t.items) {
    bool focused = !popup_ && &item == &Focused();
    switch (item.kind) {
      case Kind::kStatic:
        Put(l.row[item.id], 2, Fit(item.text, inner));
        break;
      case Kind::kComboBox:
        DrawCombo(item, l, focused);
        break;
      case Kind::kListView:
        DrawList(item, l, focused);
        break;
      case Kind::kButton: {
        CString label = "[ " + item.text + " ]";
        int x = 2 + item.x * inner / std::max(1, t.cx);
        x = std::min(x, l.width - 2 - static_cast<int>(label.size()));
        Put(l.buttons_row, x, label, (focused ? A_REVERSE : A_NORMAL) | (item.defaultButton ? A_BOLD : A_NORMAL));
        break;
      }
    }
  }
  for (const CDialogItem& item : t.items)
    if (item.kind == Kind::kComboBox && dropped_ && &item == &Focused()) DrawDropDown(item, l);
  refresh();
}

void Screen::DrawCombo(const CDialogItem& item, const Layout& l, bool focused) {
  CComboBox* combo = Combo(item.id);
  CString text = combo ? combo->GetLBText(combo->GetCurSel()) : item.text;
  int inner = l.width - 4;
  Put(l.row.at(item.id), 2, "[" + Fit(text, inner - 4) + " v]", focused ? A_REVERSE : A_NORMAL);
}

void Screen::DrawDropDown(const CDialogItem& item, const Layout& l) {
  CComboBox* combo = Combo(item.id);
  if (!combo) return;
  int inner = l.width - 4;
  int y = l.row.at(item.id) + 1;
  int shown = std::min(combo->GetCount(), l.height - y - 3);
  WINDOW* w = newwin(shown + 2, inner, y, 2);
  if (!w) return;
  box(w, 0, 0);
  for (int i = 0; i < shown; ++i) {
    wattrset(w, i == dropped_cursor_ ? A_REVERSE : A_NORMAL);
    mvwaddstr(w, i + 1, 1, term_.Show(Fit(combo->GetLBText(i), inner - 2)).c_str());
  }
  wnoutrefresh(stdscr);
  wnoutrefresh(w);
  doupdate();
  delwin(w);
}

void Screen::DrawList(const CDialogItem& item, const Layout& l, bool focused) {
  CTarvoListCtrl* list = List(item.id);
  if (!list) return;
  int y = l.row.at(item.id);
  int inner = l.width - 4;
  bool enabled = list->IsWindowEnabled();
  attr_t base = enabled ? A_NORMAL : A_DIM;
  // Column widths scaled from the dialog's, one blank between columns, the last takes the rest.
  int columns = list->GetColumnCount();
  int check = list->HasCheckBoxes() ? 4 : 0;
  int room = inner - check - std::max(0, columns - 1);
  int total = 0;
  for (int c = 0; c < columns; ++c) total += std::max(1, list->GetColumn(c).width);
  std::vector<int> widths;
  int used = 0;
  for (int c = 0; c < columns; ++c) {
    int w = c + 1 == columns ? room - used : room * std::max(1, list->GetColumn(c).width) / std::max(1, total);
    widths.push_back(std::max(1, w));
    used += widths.back();
  }
  auto line = [&](auto cell) {
    CString text;
    for (int c = 0; c < columns; ++c) text += (c ? " " : "") + cell(c);
    return text;
  };
  Put(y, 2, CString(static_cast<size_t>(check), ' ') +
                line([&](int c) { return Fit(list->GetColumn(c).heading, widths[c], list->GetColumn(c).format); }),
      base | A_UNDERLINE | A_BOLD);
  int rows = list->GetItemCount();
  cursor_ = std::clamp(cursor_, 0, std::max(0, rows - 1));
  if (cursor_ < top_) top_ = cursor_;
  if (cursor_ >= top_ + l.list_rows) top_ = cursor_ - l.list_rows + 1;
  top_ = std::clamp(top_, 0, std::max(0, rows - l.list_rows));
  if (rows == 0) Put(y + 1, 2 + check, "(nessuna voce)", base);
  for (int r = top_; r < rows && r < top_ + l.list_rows; ++r) {
    CString mark = check ? CString(list->GetCheck(r) ? "[x] " : "[ ] ") : CString();
    CString text = mark + line([&](int c) { return Fit(list->GetItemText(r, c), widths[c], list->GetColumn(c).format); });
    Put(y + 1 + r - top_, 2, text, base | (focused && r == cursor_ ? A_REVERSE : A_NORMAL));
  }
  if (top_ > 0) Put(y + 1, l.width - 2, "^", base);
  if (top_ + l.list_rows < rows) Put(y + l.list_rows, l.width - 2, "v", base);
}

void Screen::Popup(const CString& text, bool* answer) {
  popup_ = &text;
  for (;;) {
    Draw();
    int width = std::clamp(static_cast<int>(text.size()) + 4, 20, std::max(20, COLS - 4));
    std::vector<CString> lines = Wrap(text, width - 4);
    int height = static_cast<int>(lines.size()) + 4;
    WINDOW* w = newwin(height, width, std::max(0, (LINES - height) / 2), std::max(0, (COLS - width) / 2));
    if (w) {
      werase(w);
      box(w, 0, 0);
      for (size_t i = 0; i < lines.size(); ++i) mvwaddstr(w, static_cast<int>(i) + 1, 2, term_.Show(lines[i]).c_str());
      wattrset(w, A_REVERSE);
      mvwaddstr(w, height - 2, (width - 6) / 2, answer ? "[S/N]" : "[ OK ]");
      wrefresh(w);
      delwin(w);
    }
    int key = getch();
    if (key == ERR && !Stopped()) continue;
    if (key == KEY_RESIZE || key == kKeyCtrlL) continue;
    if (answer) {
      if (key == 's' || key == 'S' || key == 'y' || key == 'Y') *answer = true;
      else if (key == 'n' || key == 'N') *answer = false;
      else if (key != kKeyEnter && key != KEY_ENTER && key != kKeyEscape && key != ERR) continue;
    } else if (key != kKeyEnter && key != KEY_ENTER && key != ' ' && key != kKeyEscape && key != ERR) {
      continue;
    }
    break;
  }
  popup_ = nullptr;
}

bool Screen::Run() {
  for (;;) {
    Draw();
    int key = getch();
    if (key == ERR) {
      if (Stopped()) return false;
      continue;
    }
    if (key == KEY_RESIZE || key == kKeyCtrlL) continue;
    if (key == kKeyCtrlC) return false;
    const CDialogItem& item = Focused();
    if (dropped_) {
      CComboBox* combo = Combo(item.id);
      int count = combo ? combo->GetCount() : 0;
      if (key == KEY_UP) dropped_cursor_ = std::max(0, dropped_cursor_ - 1);
      else if (key == KEY_DOWN) dropped_cursor_ = std::min(count - 1, dropped_cursor_ + 1);
      else if (key == kKeyEnter || key == KEY_ENTER || key == ' ') {
        dropped_ = false;
        SelectChoice(item, dropped_cursor_);
      } else if (key == kKeyEscape) dropped_ = false;
      continue;
    }
    if (key == kKeyEscape) return false;
    if (key == '\t') {
      Move(+1);
      continue;
    }
    if (key == KEY_BTAB) {
      Move(-1);
      continue;
    }
    switch (item.kind) {
      case Kind::kComboBox: {
        CComboBox* combo = Combo(item.id);
        if (key == kKeyEnter || key == KEY_ENTER || key == ' ') {
          dropped_ = true;
          dropped_cursor_ = std::max(0, combo ? combo->GetCurSel() : 0);
        } else if (key == KEY_LEFT && combo) SelectChoice(item, combo->GetCurSel() - 1);
        else if (key == KEY_RIGHT && combo) SelectChoice(item, combo->GetCurSel() + 1);
        else if (key == KEY_DOWN) Move(+1);
        else if (key == KEY_UP) Move(-1);
        break;
      }
      case Kind::kListView: {
        CTarvoListCtrl* list = List(item.id);
        int rows = list ? list->GetItemCount() : 0;
        int page = std::max(1, Measure().list_rows - 1);
        if (key == ' ' && list && rows > 0) list->SetCheck(cursor_, !list->GetCheck(cursor_));
        else if (key == KEY_UP) {
          if (cursor_ == 0) Move(-1);
          else --cursor_;
        } else if (key == KEY_DOWN) {
          if (cursor_ >= rows - 1) Move(+1);
          else ++cursor_;
        } else if (key == KEY_PPAGE) cursor_ = std::max(0, cursor_ - page);
        else if (key == KEY_NPAGE) cursor_ = std::min(std::max(0, rows - 1), cursor_ + page);
        else if (key == KEY_HOME) cursor_ = 0;
        else if (key == KEY_END) cursor_ = std::max(0, rows - 1);
        else if ((key == kKeyEnter || key == KEY_ENTER) && PressOK()) return true;
        break;
      }
      case Kind::kButton:
        if (key == KEY_LEFT) Move(-1);
        else if (key == KEY_RIGHT) Move(+1);
        else if (key == KEY_UP) {
          for (size_t i = 0; i < focusable_.size() && Focused().kind == Kind::kButton; ++i) Move(-1);
        } else if (key == kKeyEnter || key == KEY_ENTER || key == ' ') {
          if (item.id == IDC_CANCEL) return false;
          if (item.id == IDC_OK && PressOK()) return true;
        }
        break;
      case Kind::kStatic:
        break;
    }
  }
}

}  // namespace

bool DialogScreen::RunModal(CTarvoParserDialog& dialog) {
  Terminal terminal;
  if (!terminal.Ready()) {
    const char* term = std::getenv("TERM");
    std::fprintf(stderr, "tarvo-exchange: cannot draw the dialog on this terminal (TERM=%s); use --batch or --choice\n",
                 term ? term : "");
    return false;
  }
  Screen screen(dialog, terminal);
  ScopedHostUI scope(screen);
  return screen.Run();
}
