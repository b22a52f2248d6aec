#include "mqtt/TlsContext.h"

namespace QoPlayer {
namespace mqtt {

bool TrustSystemAuthorities(SSL_CTX* context) {
    return SSL_CTX_set_default_verify_paths(context) == 1;
}

}  // namespace mqtt
}  // namespace QoPlayer
