#pragma once

#include <string>

int sumUpTo(int last);
bool isTeen(int years);
std::string twice(const std::string& what);
