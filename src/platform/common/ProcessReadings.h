#pragma once

#include <memory>
#include <string>

#include "platform/common/UseRate.h"

/// The processes named `name`, not older than kShortestWindow. Going through all processes of a machine costs
/// milliseconds, so the readings of several streams at one tick share one list. Any thread may call it.
std::shared_ptr<const ProcessList> RecentProcesses(const std::wstring& name);
