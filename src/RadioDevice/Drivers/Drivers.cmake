# The drivers, a row each, in the order in which their receivers are listed: see cmake/Driver.cmake.
orvenlink_driver(IQPlayer)
orvenlink_driver(RtlUsb FAKE rtlsdr
  OPTION ORVENLINK_RTLSDR LIBRARY librtlsdr PACKAGE librtlsdr-dev RECEIVERS "RTL2832U dongles")
orvenlink_driver(AirSpyHF FAKE airspyhf
  OPTION ORVENLINK_AIRSPYHF LIBRARY libairspyhf PACKAGE libairspyhf-dev RECEIVERS "Airspy HF+ receivers")
orvenlink_driver(AirSpy FAKE airspy
  OPTION ORVENLINK_AIRSPY LIBRARY libairspy PACKAGE libairspy-dev RECEIVERS "Airspy R2 and mini receivers")
orvenlink_driver(Rsp FAKE rsp)
