// Decimal: a fixed-point number for money, quantities and rates. The value is kept exactly as an
// integer count of 10^-9 units (about ±1.7e20 representable) together with the number of decimals
// it carries (its scale: the decimals of the text it was read from, of its operands, or of the last
// Round3). Rounding is commercial: halves away from zero. A plain value type; no sharing.
//
// The precisions the procedures round to come from the configuration
// (CConfigAdministrator::GetPrecisionePrezzi / GetPrecisioneTotali ...).
#pragma once

#include <compare>
#include <optional>

#include "platform/text.h"

__extension__ typedef __int128 DecimalUnits;  // GCC/Clang 128-bit integer

class Decimal {
 public:
  static constexpr int kMaxScale = 9;
  static constexpr int kAllDecimals = 127;  // ToString2: print the decimals the value carries

  Decimal() = default;
  Decimal(int value) : Decimal(static_cast<long long>(value)) {}  // NOLINT: numbers convert freely
  Decimal(long value) : Decimal(static_cast<long long>(value)) {}  // NOLINT
  Decimal(long long value);                                          // NOLINT
  // Rounded to kMaxScale decimals; the scale is the fewest decimals that show the value exactly.
  explicit Decimal(double value);
  // Parses "1234.5", "-0,25", " 7 " (a comma is the decimal separator when there is no point).
  // Throws tarvo::CException (kInput) naming the text when it is no number.
  explicit Decimal(const CString& text);
  static std::optional<Decimal> Parse(const CString& text);

  // Rounds in place to `decimals` (0..kMaxScale) and sets the scale to it. Returns *this.
  Decimal& Round3(int decimals);
  Decimal Rounded(int decimals) const { return Decimal(*this).Round3(decimals); }

  // Text with `decimals` decimals (kAllDecimals: the value's own scale). `localized`: Italian
  // separators, "1.234,50"; otherwise the form SQL and files take, "1234.50".
  CString ToString2(int decimals, bool localized) const;
  CString ToString() const { return ToString2(kAllDecimals, false); }
  double ToDouble() const;
  long long ToInt64() const;  // rounded to a whole number
  int GetScale() const { return scale_; }
  bool IsZero() const { return units_ == 0; }

  Decimal operator-() const;
  Decimal& operator+=(const Decimal& o);
  Decimal& operator-=(const Decimal& o);
  Decimal& operator*=(const Decimal& o);  // exact to kMaxScale; scale: sum of scales, at most 9
  Decimal& operator/=(const Decimal& o);  // rounded to kMaxScale; throws kInput on division by 0
  friend Decimal operator+(Decimal a, const Decimal& b) { return a += b; }
  friend Decimal operator-(Decimal a, const Decimal& b) { return a -= b; }
  friend Decimal operator*(Decimal a, const Decimal& b) { return a *= b; }
  friend Decimal operator/(Decimal a, const Decimal& b) { return a /= b; }
  friend bool operator==(const Decimal& a, const Decimal& b) { return a.units_ == b.units_; }
  friend std::strong_ordering operator<=>(const Decimal& a, const Decimal& b) { return a.units_ <=> b.units_; }

 private:
  DecimalUnits units_ = 0;  // value * 10^kMaxScale
  int scale_ = 0;
};
