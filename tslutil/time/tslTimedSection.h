// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/tslutilExport.h"

#include <cstdint>
#include <vector>

/// Measures how long a stretch of code took, by the high-resolution counter. Not locked, and not to be
/// deleted through a pointer to a base: there is no virtual destructor.
class TSLUTIL_EXPORT DtTimedSection
{
public:
   DtTimedSection();

   // Virtual operations, in slot order.

   /// Marks the beginning.
   virtual void start();
   /// Marks the end.
   virtual void stop();
   /// Seconds from the last start to the last stop, negative if they came in the other order.
   virtual double duration() const;

protected:
   /// Seconds from the last start to a count of the counter.
   double secondsUntil(std::int64_t count) const;

private:
   double secondsPerCount;
   std::int64_t startCount;
   std::int64_t stopCount;
};

/// Measures laps as well. They are all measured from the last start, which doesn't clear them.
class TSLUTIL_EXPORT DtTimedLappingSection : public DtTimedSection
{
public:
   DtTimedLappingSection();

   // Virtual operations, in slot order.

   /// Marks the end of a lap.
   virtual void lap();
   /// Seconds from the last start, not from the lap before, to the end of lap `index`, counted from 0. -1.0
   /// if there is no such lap.
   virtual double durationSegment(unsigned int const & index) const;
   /// How many laps have ended.
   virtual unsigned int getCurrentLap() const;

private:
   std::vector<std::int64_t> laps;
   std::uint32_t currentLap;
};
