// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslNetTypes.h"

/// Whether a stamp follows a clock that all share, or one of the sender's own. Any other value counts as
/// relative.
enum DtTimeStampType : int
{
   DtTimeStampRelative = 0,
   DtTimeStampAbsolute = 1
};

/// The DIS time stamp as it lies in a PDU: a 32-bit word in wire order that counts units of 2^-31 hours,
/// about 1.68 microseconds, past the hour; its lowest bit is the type. It wraps every hour. Obeys the
/// process-wide byte ordering, and may stand anywhere in a wire record. As thread-safe as a plain number.
class TSLUTIL_EXPORT DtNetTimeStamp
{
public:
   /// The top of the hour, relative.
   DtNetTimeStamp() = default;
   /// The stamp of a time, see setTime(), and a type.
   DtNetTimeStamp(double seconds, DtTimeStampType type);

   /// Sets the time past the hour; whole hours are dropped, and so is what is finer than a unit. A negative
   /// time counts back from the hour. The type stays.
   void setTime(double seconds);
   /// Seconds past the hour: at least 0 and below 3600.
   double time() const;

   /// Sets the type; the time stays.
   void setType(DtTimeStampType type);
   /// Whether the stamp is absolute.
   DtTimeStampType type() const;

   /// The whole 32-bit word as a number, the type's bit included.
   operator unsigned long() const;

protected:
   /// Units in an hour.
   static constexpr double theHourFracPerHour = 2147483648.0;
   /// Hours in a unit.
   static constexpr double theHourPerHourFrac = 1.0 / theHourFracPerHour;

private:
   DtNetU32 myWord;
};
