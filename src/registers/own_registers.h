// The registers that the gateway itself works with.
#pragma once

constexpr char kRS232Mode[] = "qmxRS232Mode.0";
constexpr char kInstrumentType[] = "qmxInstrumentType.0";
constexpr char kAKStationCode[] = "qmxAKStationCode.0";
constexpr char kAKChannelNumber[] = "qmxAKChannelNumber.0";
constexpr char kStatusCondition[] = "qmxStatusCondition.0";
constexpr char kOperatingMode[] = "qmxOperatingMode.0";
constexpr char kAKSetTime[] = "qmxAKSetTime.0";
constexpr char kCommand[] = "qmxCommand.0";
constexpr char kDatabasePointer[] = "qmxDatabasePointer.0";
constexpr char kInstrumentID[] = "qmxInstrumentID.0";
constexpr char kLocationID[] = "qmxLocationID.0";
constexpr char kPRCNumber[] = "qmxPRCNumber.0";
constexpr char kResponseEnd[] = "qmxResponseEnd.0";
