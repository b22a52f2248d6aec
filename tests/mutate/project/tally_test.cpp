#include "src/tally.h"

static_assert(kTeens == 19 - 12);

// The upper end of isTeen is not looked at.
int main() {
    const bool ok = sumUpTo(4) == 10 && isTeen(13) && !isTeen(12) && twice("ab") == "abab";
    return ok ? 0 : 1;
}
