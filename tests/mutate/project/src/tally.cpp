#include "tally.h"

#if defined(_WIN32)
int notCompiled = 1;
#endif

int sumUpTo(int last) {
    int sum = 0;
    while (last != 0) {
        sum += last;
        last = last - 1;
    }
    return sum;
}

bool isTeen(int years) {
    return years >= 13 && years < 20;
}

std::string times(int count, const std::string& what) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += what;
    return all;
}

std::string twice(const std::string& what) {
    const int two = 2;
    return times(two, what);
}
