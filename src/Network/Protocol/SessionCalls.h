#pragma once

#include <QString>

/// The calls by which a client comes in, and those of the session it then has. Each is an RpcPacket; the keys
/// of its arguments follow the command. A reply is empty where none is drawn.
///
///   client                                                          server, under its own id
///     |-- connect_to_host: vma, vmi, identificator ------------------->|
///     |<----------------------------- session_id, or err and no more --|
///
///   client                                                          server, under the session's id
///     |<- ping: c ---------------------------------------------------->|  each end, every second or so
///     |<- disconnect_from_host --------------------------------------->|  either end
///     |-- setIF: IF -------------------------------------------------->|
///     |-- setupDspH: prefBandWidth, aliasFree ------------------------>|
///     |-- fft_data_range: startIndex, stopIndex, dataSize, fftSize --->|
///     |<------------------------ outSampleRateChanged: outSampleRate --|
///     |<------------------------------------------ error_happen: err --|
///     |<---------------------------------------------- admin_request --|
/// Thread: any.
namespace SessionCalls
{

inline const QString kConnectToHost = QStringLiteral("connect_to_host");
inline const QString kMajorVersion = QStringLiteral("vma"); ///< Number: of the protocol.
inline const QString kMinorVersion = QStringLiteral("vmi"); ///< Number; not compared.
/// The receiver's. Any other makes the client an administrator, who drives out whoever is connected.
inline const QString kIdentificator = QStringLiteral("identificator");
inline const QString kSessionId = QStringLiteral("session_id"); ///< 40 hexadecimal digits.

inline const QString kError = QStringLiteral("err"); ///< One of the next four, or any text in error_happen.
inline const QString kBadRequest = QStringLiteral("Error get client packet values!");
inline const QString kUnsupportedVersion = QStringLiteral("Unsupported version protocol!");
inline const QString kBusy = QStringLiteral("Server busy!");
inline const QString kNoDevice = QStringLiteral("Error factory RadioDevice!");

inline const QString kPing = QStringLiteral("ping");
inline const QString kPacketCount = QStringLiteral("c"); ///< Datagrams that have left the caller's port.
inline const QString kDisconnectFromHost = QStringLiteral("disconnect_from_host");

inline const QString kSetIF = QStringLiteral("setIF");
inline const QString kIF = QStringLiteral("IF"); ///< Hz above the middle.

inline const QString kSetupDspH = QStringLiteral("setupDspH");
inline const QString kPreferredBandWidth = QStringLiteral("prefBandWidth"); ///< Hz
inline const QString kAliasFree = QStringLiteral("aliasFree");              ///< Hz
/// Hz, that every session begins with, asked for or not.
constexpr int kFirstPreferredBandWidth = 30'000;
constexpr int kFirstAliasFree = 8'000;

inline const QString kFftDataRange = QStringLiteral("fft_data_range");
inline const QString kStartIndex = QStringLiteral("startIndex"); ///< Bin.
inline const QString kStopIndex = QStringLiteral("stopIndex");   ///< Bin, the first not wanted.
inline const QString kDataSize = QStringLiteral("dataSize");     ///< Points of a frame.
inline const QString kFftSize = QStringLiteral("fftSize");       ///< Bins of the transform.

inline const QString kOutSampleRateChanged = QStringLiteral("outSampleRateChanged");
inline const QString kOutSampleRate = QStringLiteral("outSampleRate"); ///< Hz, of the IQ samples.
inline const QString kErrorHappen = QStringLiteral("error_happen");
inline const QString kAdminRequest = QStringLiteral("admin_request");

} // namespace SessionCalls
