#include "platform/decimal.h"

#include <algorithm>
#include <cmath>

#include "platform/errors.h"

namespace {

using Int = DecimalUnits;

Int Pow10(int n) {
  Int p = 1;
  while (n-- > 0) p *= 10;
  return p;
}

const Int kOne = Pow10(Decimal::kMaxScale);

// a / b rounded half away from zero.
Int DivRound(Int a, Int b) {
  Int q = a / b, r = a % b;
  if (r < 0) r = -r;
  Int absB = b < 0 ? -b : b;
  if (2 * r >= absB) q += ((a < 0) != (b < 0)) ? -1 : 1;
  return q;
}

Int RoundUnits(Int units, int decimals) {
  Int factor = Pow10(Decimal::kMaxScale - decimals);
  return DivRound(units, factor) * factor;
}

int ClampScale(int decimals) { return std::clamp(decimals, 0, Decimal::kMaxScale); }

CString Digits(Int value) {  // value >= 0
  CString out;
  do {
    out.insert(out.begin(), static_cast<char>('0' + static_cast<int>(value % 10)));
    value /= 10;
  } while (value > 0);
  return out;
}

}  // namespace

Decimal::Decimal(long long value) : units_(static_cast<Int>(value) * kOne) {}

Decimal::Decimal(double value) {
  units_ = static_cast<Int>(std::llroundl(static_cast<long double>(value) * 1e9L));
  scale_ = kMaxScale;
  while (scale_ > 0 && units_ % Pow10(kMaxScale - scale_ + 1) == 0) --scale_;
}

Decimal::Decimal(const CString& text) {
  auto d = Parse(text);
  if (!d) throw tarvo::CException(tarvo::ErrorKind::kInput, "Numero non valido: '" + text + "'");
  *this = *d;
}

std::optional<Decimal> Decimal::Parse(const CString& text) {
  CString t = tarvo::Trim(text);
  bool negative = false;
  if (!t.empty() && (t[0] == '-' || t[0] == '+')) {
    negative = t[0] == '-';
    t.erase(0, 1);
  }
  // With both separators present the last one is the decimal separator, the other groups.
  size_t point = t.rfind('.'), comma = t.rfind(',');
  char separator = '.';
  if (comma != CString::npos && (point == CString::npos || comma > point)) separator = ',';
  Int whole = 0, fraction = 0;
  int decimals = 0, digits = 0;
  bool inFraction = false;
  for (char c : t) {
    if (c >= '0' && c <= '9') {
      ++digits;
      if (!inFraction) {
        whole = whole * 10 + (c - '0');
        if (whole > Pow10(20)) return std::nullopt;
      } else if (decimals < kMaxScale + 1) {
        fraction = fraction * 10 + (c - '0');
        ++decimals;
      }
    } else if (c == separator && !inFraction) {
      inFraction = true;
    } else if ((c == '.' || c == ',') && c != separator && !inFraction) {
      continue;  // grouping
    } else {
      return std::nullopt;
    }
  }
  if (digits == 0) return std::nullopt;
  Decimal d;
  Int units = whole * kOne;
  if (decimals > kMaxScale) {
    units += DivRound(fraction, 10);
    decimals = kMaxScale;
  } else {
    units += fraction * Pow10(kMaxScale - decimals);
  }
  d.units_ = negative ? -units : units;
  d.scale_ = decimals;
  return d;
}

Decimal& Decimal::Round3(int decimals) {
  scale_ = ClampScale(decimals);
  units_ = RoundUnits(units_, scale_);
  return *this;
}

CString Decimal::ToString2(int decimals, bool localized) const {
  const int d = decimals == kAllDecimals ? scale_ : ClampScale(decimals);
  Int u = RoundUnits(units_, d);
  const bool negative = u < 0;
  if (negative) u = -u;
  CString digits = Digits(u / kOne), whole;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (localized && i > 0 && (digits.size() - i) % 3 == 0) whole += '.';
    whole += digits[i];
  }
  CString text = negative ? "-" + whole : whole;
  if (d > 0) {
    CString fraction = Digits((u % kOne) / Pow10(kMaxScale - d));
    fraction.insert(0, static_cast<size_t>(d) - fraction.size(), '0');
    text += (localized ? "," : ".") + fraction;
  }
  return text;
}

double Decimal::ToDouble() const { return static_cast<double>(static_cast<long double>(units_) / 1e9L); }

long long Decimal::ToInt64() const { return static_cast<long long>(DivRound(units_, kOne)); }

Decimal Decimal::operator-() const {
  Decimal d = *this;
  d.units_ = -d.units_;
  return d;
}

Decimal& Decimal::operator+=(const Decimal& o) {
  units_ += o.units_;
  scale_ = std::max(scale_, o.scale_);
  return *this;
}

Decimal& Decimal::operator-=(const Decimal& o) {
  units_ -= o.units_;
  scale_ = std::max(scale_, o.scale_);
  return *this;
}

Decimal& Decimal::operator*=(const Decimal& o) {
  units_ = DivRound(units_ * o.units_, kOne);
  scale_ = std::min(scale_ + o.scale_, kMaxScale);
  return *this;
}

Decimal& Decimal::operator/=(const Decimal& o) {
  if (o.units_ == 0) throw tarvo::CException(tarvo::ErrorKind::kInput, "Divisione per zero");
  units_ = DivRound(units_ * kOne, o.units_);
  scale_ = kMaxScale;
  return *this;
}
