// Powers and logarithms whose last bit does not depend on the system's mathematics: curves often
// pass exactly through the middle between two levels, where that bit decides.
#pragma once

namespace kestr {

/// The natural logarithm of a positive number, correctly rounded in all but freak cases.
double RoundedLog(double x);

/// limit * base ^ exponent + 0.5, calculated as if the power were correctly rounded: what is to be
/// truncated to a whole number comes out alike everywhere.
double ScaledPower(double base, double exponent, double limit);

}  // namespace kestr
