// SPDX-License-Identifier: Apache-2.0
// Speech coders of libavcodec as peers: one channel of 16-bit samples.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace qolsc::bench {

struct AvCoder {
    AVCodecContext* context;
    AVFrame* frame;
    AVPacket* packet;
};

/// Encoder or decoder; samples is what an encoder takes at once. The context is null when there is
/// none.
inline AvCoder openAv(const AVCodec* codec, int rate, int samples, int bitRate) {
    AvCoder c{avcodec_alloc_context3(codec), av_frame_alloc(), av_packet_alloc()};
    c.context->sample_rate = rate;
    c.context->sample_fmt = AV_SAMPLE_FMT_S16;
    c.context->frame_size = samples;
    c.context->bit_rate = bitRate;
    av_channel_layout_default(&c.context->ch_layout, 1);
    if (codec == nullptr || avcodec_open2(c.context, codec, nullptr) != 0) {
        avcodec_free_context(&c.context);
    } else if (av_codec_is_encoder(codec) != 0) {
        c.frame->nb_samples = samples;
        c.frame->format = AV_SAMPLE_FMT_S16;
        c.frame->sample_rate = rate;
        av_channel_layout_copy(&c.frame->ch_layout, &c.context->ch_layout);
        av_frame_get_buffer(c.frame, 0);
    }
    return c;
}

inline void closeAv(AvCoder& c) {
    av_packet_free(&c.packet);
    av_frame_free(&c.frame);
    avcodec_free_context(&c.context);
}

/// Codes as many samples as the encoder was opened for; returns the count of octets.
inline int encodeAv(AvCoder& c, const std::int16_t* pcm) {
    av_frame_make_writable(c.frame);
    std::copy_n(pcm, c.frame->nb_samples, reinterpret_cast<std::int16_t*>(c.frame->data[0]));
    avcodec_send_frame(c.context, c.frame);
    int octets = 0;
    while (avcodec_receive_packet(c.context, c.packet) == 0) {
        octets += c.packet->size;
        av_packet_unref(c.packet);
    }
    return octets;
}

/// Decodes a packet; returns the count of samples.
inline int decodeAv(AvCoder& c, std::span<const std::uint8_t> octets) {
    av_new_packet(c.packet, static_cast<int>(octets.size()));
    std::copy(octets.begin(), octets.end(), c.packet->data);
    avcodec_send_packet(c.context, c.packet);
    av_packet_unref(c.packet);
    int samples = 0;
    while (avcodec_receive_frame(c.context, c.frame) == 0) {
        samples += c.frame->nb_samples;
        av_frame_unref(c.frame);
    }
    return samples;
}

} // namespace qolsc::bench
