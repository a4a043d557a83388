// SPDX-License-Identifier: MIT
#include "tslutil/time/tslNetTimeStamp.h"

#include "tslutil/time/tslClock.h"

#include <cmath>

static_assert(sizeof(DtNetTimeStamp) == 4 && alignof(DtNetTimeStamp) == 1, "it stands in wire records");

namespace
{
constexpr std::uint32_t theTypeBit = 1;
} // namespace

DtNetTimeStamp::DtNetTimeStamp(double seconds, DtTimeStampType type)
{
   setTime(seconds);
   setType(type);
}

void DtNetTimeStamp::setTime(double seconds)
{
   DtTimeStampType const kept = type();
   double const hours = seconds * DtClock::sec2hour;
   double const fraction = hours - std::trunc(hours);
   // No number and infinity are no time past any hour. The units of a negative fraction are cut as they are.
   auto const units = std::isfinite(fraction) ? static_cast<std::int64_t>(fraction * theHourFracPerHour) : 0;
   myWord = static_cast<std::uint32_t>(units) << 1;
   setType(kept);
}

double DtNetTimeStamp::time() const
{
   return (myWord >> 1) * theHourPerHourFrac * DtClock::hour2sec;
}

void DtNetTimeStamp::setType(DtTimeStampType type)
{
   std::uint32_t const timeBits = myWord & ~theTypeBit;
   myWord = type == DtTimeStampAbsolute ? timeBits | theTypeBit : timeBits;
}

DtTimeStampType DtNetTimeStamp::type() const
{
   return static_cast<DtTimeStampType>(myWord & theTypeBit);
}

DtNetTimeStamp::operator unsigned long() const
{
   return myWord;
}
