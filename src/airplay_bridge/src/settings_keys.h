// The keys of the set's settings model: each spelled once, here, in the order in which the service
// opens them.
#pragma once

namespace norvale::keys {

inline constexpr char kAirPlayEnable[] = "torvo.sl2.i32.app.setting.airplay.enable";
inline constexpr char kAirPlaySupport[] = "torvo.sl2.i32.system.airplay.support";
inline constexpr char kAirPlayStatus[] = "torvo.sl2.vstr.app.setting.airplay.status";
inline constexpr char kFullBrand[] = "torvo.sl2.str.norfactory.fullbrand";
inline constexpr char kLogo[] = "torvo.sl2.i32.norfactory.logo";
inline constexpr char kNetworkAvailable[] = "torvo.sl2.i32.local.network.available";
inline constexpr char kAppStatus[] = "torvo.sl2.str.source.app.status";
inline constexpr char kOpenFromStandby[] = "torvo.sl2.i32.system.open.from.standby";
inline constexpr char kPowerUseCase[] = "torvo.sl2.i32.system.enum.pwr.use.case";
inline constexpr char kInputName[] = "torvo.sl2.vstr.source.input.name";
inline constexpr char kDppEula[] = "torvo.sl2.i32.basic.settings.eula.dpp.eula";
inline constexpr char kEulaGeneral[] = "torvo.sl2.i32.basic.settings.eula.dpp.general";
inline constexpr char kScreenState[] = "torvo.sl2.i32.system.enum.screen.state";
inline constexpr char kCurrentApp[] = "torvo.sl2.str.source.app.current";
inline constexpr char kHotelOptionChanged[] = "torvo.sl2.i32.any.hotel.option.changed";
inline constexpr char kFactoryState[] = "torvo.sl2.i32.norfactory.state.open";
inline constexpr char kMainMute[] = "torvo.sl2.i32.sound.main.mute";
inline constexpr char kSendKeyAction[] = "torvo.sl2.system.action.send.key";
inline constexpr char kTunerSupport[] = "torvo.sl2.i32.channel.search.tuner.support";
inline constexpr char kAudioOnly[] = "torvo.sl2.i32.system.audio.only";
inline constexpr char kUserEnabled[] = "torvo.sl2.i32.app.setting.airplay.user.enabled";
inline constexpr char kProductionType[] = "torvo.sl2.str.norfactory.production.type";
inline constexpr char kSoftwareVersion[] = "torvo.sl2.str.norfactory.software.version";
inline constexpr char kSerial[] = "torvo.sl2.str.norfactory.materiel.serial";
inline constexpr char kRegion[] = "torvo.sl2.i32.norfactory.region";
inline constexpr char kLaserTvEnable[] = "torvo.sl2.i32.system.lasertv.enable";

}  // namespace norvale::keys
