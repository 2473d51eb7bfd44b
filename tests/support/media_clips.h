#pragma once

#include <QString>

// Media files for the probe, metadata and thumbnail tests, encoded by ffmpeg into one temporary
// folder the first time they are asked for (once per test program).
namespace mediaclips {

struct Clips {
    QString folder;
    // 320×180, 3 s of testsrc at 25 frames a second.
    QString landscape;
    // The landscape clip with a 90° display rotation: shown 180×320.
    QString portrait;
    // 1920×1080, a few frames; and the same with a 90° display rotation.
    QString fullHD, fullHDPortrait;
    // 320×180, 1 s, blue with a red top-left corner; and with 90°, 180° and 270° rotations.
    QString marker, marker90, marker180, marker270;
    // 2 s of a sine tone in AAC, no video.
    QString audioOnly;
    // Text under a video name; an empty file; the first half of an MP4 whose index is at its
    // end; an MP4 with its index first, cut after 60 % of its bytes.
    QString notVideo, empty, truncated, cut;
    // 5.04 s at 25 frames a second: red before 0.5 s, green from 0.5 to 0.6 s, blue after.
    QString shortColours;
    // 12 s at 25 frames a second, a key frame every 12 frames: red before 1 s, green from 1 to
    // 1.2 s, blue after.
    QString longColours;
    // Two frames: red at 0 s, blue at 5 s.
    QString gap;
    // A raw H.264 stream: no container, no timestamps, no duration.
    QString rawStream;
    // 64×36, one frame of testsrc: the cheapest thumbnail.
    QString tiny;
};

// The clips; fields are empty when ffmpeg is missing or failed (see error()).
const Clips& clips();
QString error();

} // namespace mediaclips
