#include "playback/Player.h"

#include "playback/MpvPlayer.h"

Player* Player::create(VideoOutput output, QObject* parent) {
    return new MpvPlayer(output, parent);
}
