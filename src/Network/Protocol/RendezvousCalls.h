#pragma once

#include <QString>

/// The calls of a rendezvous, which brings two nodes together whose routers let in nobody that they haven't
/// called. The arguments follow the colon; a reply is empty where none is drawn.
///
///   server                                                        rendezvous server
///     |-- new_server: port, vma, vmi, dt ------------------------->|  while free
///     |<--- nothing, or who wants in: chp_id, chp_addr, chp_port --|
///     |-- busy, drop --------------------------------------------->|
///     |<----------------- set_timeout_timer_ping: v, drop_client --|
///   server                                                        a client
///     |<- process_hole_punching ---------------------------------->|  each end
///
///   a node that listens                                           rendezvous server
///     |<- master_ping -------------------------------------------->|  each end
///     |<--------------- request_hole_punching: id, address, port --|  as another node asked it to
///     |-- forget ------------------------------------------------->|
///     |<--------------------------------------------------- drop --|
///   two nodes
///     |<- hole_punching ------------------------------------------>|  each end
/// Thread: any.
namespace RendezvousCalls
{

inline const QString kNewServer = QStringLiteral("new_server");
inline const QString kPort = QStringLiteral("port"); ///< UDP; of a server the local one.
/// Of the program, as text; in all other calls they are the protocol's, as numbers.
inline const QString kMajorVersion = QStringLiteral("vma");
inline const QString kMinorVersion = QStringLiteral("vmi");
inline const QString kDeviceType = QStringLiteral("dt");
inline const QString kCallerId = QStringLiteral("chp_id"); ///< 40 hexadecimal digits.
inline const QString kCallerAddress = QStringLiteral("chp_addr");
inline const QString kCallerPort = QStringLiteral("chp_port");

inline const QString kBusy = QStringLiteral("busy");
inline const QString kDrop = QStringLiteral("drop");
inline const QString kDropClient = QStringLiteral("drop_client");
inline const QString kSetTimeoutTimerPing = QStringLiteral("set_timeout_timer_ping");
inline const QString kInterval = QStringLiteral("v"); ///< ms
inline const QString kProcessHolePunching = QStringLiteral("process_hole_punching");

inline const QString kHolePunching = QStringLiteral("hole_punching");
inline const QString kRequestHolePunching = QStringLiteral("request_hole_punching");
inline const QString kMasterPing = QStringLiteral("master_ping");
inline const QString kForget = QStringLiteral("forget");
inline const QString kId = QStringLiteral("id"); ///< 40 hexadecimal digits.
inline const QString kAddress = QStringLiteral("address");

} // namespace RendezvousCalls
