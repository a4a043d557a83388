// SPDX-License-Identifier: MIT
#include "tslutil/time/tslTimedSection.h"

#include "tslutil/platform/ticks.h"

DtTimedSection::DtTimedSection()
   : secondsPerCount(1.0 / static_cast<double>(tsl::platform::ticksPerSecond().count)),
     startCount(0),
     stopCount(0)
{
}

void DtTimedSection::start()
{
   startCount = tsl::platform::readTicks().count;
}

void DtTimedSection::stop()
{
   stopCount = tsl::platform::readTicks().count;
}

double DtTimedSection::duration() const
{
   return secondsUntil(stopCount);
}

double DtTimedSection::secondsUntil(std::int64_t count) const
{
   return (static_cast<double>(count) - static_cast<double>(startCount)) * secondsPerCount;
}

DtTimedLappingSection::DtTimedLappingSection() : currentLap(0) {}

void DtTimedLappingSection::lap()
{
   laps.push_back(tsl::platform::readTicks().count);
   ++currentLap;
}

double DtTimedLappingSection::durationSegment(unsigned int const & index) const
{
   return index < laps.size() ? secondsUntil(laps[index]) : -1.0;
}

unsigned int DtTimedLappingSection::getCurrentLap() const
{
   return currentLap;
}
