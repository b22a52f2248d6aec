#pragma once

#include <memory>

namespace QoPlayer {
class MsgCenter;
}

namespace Bas {

/// A share in the main or the backup center of the factory: whoever has opened a sender on it keeps it alive
/// beyond the factory at process exit. Any thread.
std::shared_ptr<QoPlayer::MsgCenter> ShareCenter(bool main);

}  // namespace Bas
