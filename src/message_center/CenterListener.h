#pragma once

namespace QoPlayer {
class MsgCenter;
}

namespace Bas {

/// Gives `center` its name and has the changes of its state told to the host's status sink. To be called
/// before the center is used otherwise.
void ListenTo(QoPlayer::MsgCenter& center, bool main);

}  // namespace Bas
