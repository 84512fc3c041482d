// The keys that are used by more than one part of the simulated television and the tools.
#ifndef CATALOGUE_KEYS_H
#define CATALOGUE_KEYS_H

namespace catalogue::keys {

inline constexpr char BRIGHTNESS[] = "dovra.sl2.i32.video.brightness";
inline constexpr char CONTRAST[] = "dovra.sl2.i32.video.contrast";
inline constexpr char SATURATION[] = "dovra.sl2.i32.video.colour.intensity";
inline constexpr char SHARPNESS[] = "dovra.sl2.i32.video.sharpness";
inline constexpr char NOISE_REDUCTION[] = "dovra.sl2.i32.video.enum.dnc";
inline constexpr char COLOR_TUNER[] = "dovra.sl2.i32.video.color.tuner";
inline constexpr char COLOR_TUNER_LUMA[] = "dovra.sl2.i32.video.color.tuner.luma";
inline constexpr char COLOR_TUNER_SATURATION[] = "dovra.sl2.i32.video.color.tuner.sat";
inline constexpr char COLOR_TUNER_HUE[] = "dovra.sl2.i32.video.color.tuner.hue";
inline constexpr char PQ_SETTING[] = "dovra.sl2.vint.video.aipq.pq.setting";
inline constexpr char SOURCE[] = "dovra.sl2.str.source.current.path";
inline constexpr char VIDEO_FORMAT[] = "dovra.sl2.str.video.format.info";
inline constexpr char HDR_TYPE[] = "dovra.sl2.str.servicemode.videoinfo.hdrtype";
inline constexpr char PLAY_ATTRIBUTES[] = "dovra.sl2.vstr.tvservice.play.main";
inline constexpr char SWITCH_ACTION[] = "dovra.sl2.action.source.switch";
inline constexpr char CHANNEL_LIST[] = "dovra.sl2.table.channel.list";

}  // namespace catalogue::keys

#endif
