// Text and containers: the flags of the split functions.
#pragma once

/// Empty fields are left out.
inline constexpr unsigned SplitNoEmpties = 1;

/// A delimiter between double quotes does not split, unless it is the double quote itself.
inline constexpr unsigned SplitQuoted = 2;
