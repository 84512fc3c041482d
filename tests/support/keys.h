// The television's keys that the tests use.
#ifndef TESTS_KEYS_H
#define TESTS_KEYS_H

namespace tests::keys {

inline constexpr char BRIGHTNESS[] = "dovra.sl2.i32.video.brightness";
inline constexpr char CONTRAST[] = "dovra.sl2.i32.video.contrast";
inline constexpr char MEMC[] = "dovra.sl2.i32.video.enum.memc";
inline constexpr char COLOR_TUNER[] = "dovra.sl2.i32.video.color.tuner";
inline constexpr char COLOR_TUNER_LUMA[] = "dovra.sl2.i32.video.color.tuner.luma";
inline constexpr char GAME_MODE[] = "dovra.sl2.i32.video.enum.instant.game.response";
inline constexpr char AIPQ_SWITCH[] = "dovra.sl2.i32.video.ai.pq.switch";
inline constexpr char AIPQ_USER_SWITCH[] = "dovra.sl2.i32.video.aipq.user.switch.osd";
inline constexpr char AIPQ_AVAILABLE[] = "dovra.sl2.i32.video.ai.pq.available";
inline constexpr char AIPQ_SUPPORTED[] = "dovra.sl2.i32.video.aipq.supported";
inline constexpr char MEDIA_STREAM_ENCRYPTED[] = "dovra.sl2.mpctrl.i32.media.stream.encrypted";
inline constexpr char HDR_TYPE[] = "dovra.sl2.str.servicemode.videoinfo.hdrtype";
inline constexpr char SOURCE[] = "dovra.sl2.str.source.current.path";
inline constexpr char VIDEO_FORMAT[] = "dovra.sl2.str.video.format.info";
inline constexpr char PQ_SETTING[] = "dovra.sl2.vint.video.aipq.pq.setting";
inline constexpr char PLAY_ATTRIBUTES[] = "dovra.sl2.vstr.tvservice.play.main";
inline constexpr char SWITCH_ACTION[] = "dovra.sl2.action.source.switch";
inline constexpr char CHANNELS[] = "dovra.sl2.table.channel.list";

}  // namespace tests::keys

#endif
