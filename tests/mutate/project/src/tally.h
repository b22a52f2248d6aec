#pragma once

#include <string>

constexpr int kTeens = 7;

int sumUpTo(int last);
bool isTeen(int years);
std::string twice(const std::string& what);
