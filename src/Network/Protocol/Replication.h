#pragma once

#include <QByteArray>
#include <QString>

/// The calls that keep a copy of an object's properties: each command is a prefix with the pair's name
/// directly after it. The arguments follow the colon; a reply is empty.
///
///   replica                                  source
///     |-- it_ra_ ----------------------------->|  the whole set is wanted
///     |<------------------------- pci_: n, v --|  one for each property, in the order of the source
///     |<--------------------------- sss_syc_ --|  that was all
///     |<--------------------- sync_crc_: crc --|  over the names in that order
///     |<-------------------------- pc_: n, v --|  a property has changed
///     |-- wp_: n, v -------------------------->|  write a property
namespace Replication
{

inline const QString kInitReplica = QStringLiteral("it_ra_");
inline const QString kInitProperty = QStringLiteral("pci_");
inline const QString kSynchronized = QStringLiteral("sss_syc_");
inline const QString kChecksum = QStringLiteral("sync_crc_");
inline const QString kPropertyChanged = QStringLiteral("pc_");
inline const QString kWriteProperty = QStringLiteral("wp_");

inline const QString kName = QStringLiteral("n");  ///< Of a property.
inline const QString kValue = QStringLiteral("v"); ///< Of it, of any type.
inline const QString kCrc = QStringLiteral("crc");

/// The pair's name of a session's receiver.
inline const QString kReceiver = QStringLiteral("rrd");

/// The value of kCrc: CRC-16 of ISO 3309 over the names in UTF-8, one directly after the other. Any thread.
[[nodiscard]] quint16 checksum(const QByteArray& names);

} // namespace Replication
