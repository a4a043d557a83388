// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/tslutilExport.h"

#include <cstdint>

/// Last, smallest, largest and average of samples, in constant memory however many they are. The average is
/// exact over the first 1000; after that, it is over a window of up to 1000 and a history with the weight of
/// one window, in which each window counts half as much as the next. Not locked.
class TSLUTIL_EXPORT DtTimeStatistic
{
public:
   /// No samples; all values are 0.
   DtTimeStatistic();

   /// Forgets all samples.
   void reset();
   /// Adds a sample: a few operations and no allocation, for use in a frame loop.
   void addTime(double sample);

   /// The last sample.
   double last() const { return myLast; }
   /// The smallest sample since the last reset.
   double minimum() const { return myMinimum; }
   /// The largest sample since the last reset.
   double maximum() const { return myMaximum; }
   /// The average; not a number if there are no samples.
   double avg() const;

protected:
   /// The samples of a window.
   static constexpr std::uint32_t theMaxCount = 1000;

private:
   void closeWindow();

   double myLast;
   double myMinimum;
   double runningSum;
   double carriedSum;
   double myMaximum;
   std::uint32_t count;
   std::uint32_t carriedCount;
};
