#pragma once

#include <string>

/// Names the process whose processor use the reports call the application's: a program's file name, in UTF-8
/// (what is not becomes U+FFFD). Empty: the usual one, "QoLive.exe". Any thread; does not block.
void SetHostProcess(const std::string& name);

/// The name. Any thread; does not block.
std::wstring HostProcess();
