#pragma once

namespace fakes {

/// The next `count` calls of the JSON library's writer in this process raise what that library raises.
void FailJsonWriting(int count);

}  // namespace fakes
