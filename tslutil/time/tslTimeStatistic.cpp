// SPDX-License-Identifier: MIT
#include "tslutil/time/tslTimeStatistic.h"

DtTimeStatistic::DtTimeStatistic()
{
   reset();
}

void DtTimeStatistic::reset()
{
   myLast = 0.0;
   myMinimum = 0.0;
   runningSum = 0.0;
   carriedSum = 0.0;
   myMaximum = 0.0;
   count = 0;
   carriedCount = 0;
}

void DtTimeStatistic::addTime(double sample)
{
   if (count == 0)
   {
      myMinimum = sample;
      myMaximum = sample;
   }
   if (sample < myMinimum)
      myMinimum = sample;
   if (sample > myMaximum)
      myMaximum = sample;
   if (count == theMaxCount)
      closeWindow();
   ++count;
   myLast = sample;
   runningSum += sample;
}

/// The history so far and the window count the same in the new history.
void DtTimeStatistic::closeWindow()
{
   carriedSum = carriedCount != theMaxCount ? runningSum : (runningSum + carriedSum) * 0.5;
   carriedCount = theMaxCount;
   runningSum = 0.0;
   count = 0;
}

double DtTimeStatistic::avg() const
{
   return (runningSum + carriedSum) / (static_cast<double>(count) + static_cast<double>(carriedCount));
}
