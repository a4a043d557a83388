// SPDX-License-Identifier: MIT
#include "tslutil/time/tslPerformanceStats.h"

#include <cstddef>

DtTimeStatistic & DtPerformanceStats::stat(unsigned int index)
{
   if (index >= myStats.size())
      myStats.resize(static_cast<std::size_t>(index) + 1);
   return myStats[index];
}

DtTimeStatistic const & DtPerformanceStats::stat(unsigned int index) const
{
   // Changes nothing but what is mutable.
   return const_cast<DtPerformanceStats *>(this)->stat(index);
}

void DtPerformanceStats::addTime(unsigned int index, double sample)
{
   stat(index).addTime(sample);
}

double DtPerformanceStats::avg(unsigned int index) const
{
   return stat(index).avg();
}

double DtPerformanceStats::last(unsigned int index) const
{
   return stat(index).last();
}

double DtPerformanceStats::minimum(unsigned int index) const
{
   return stat(index).minimum();
}

double DtPerformanceStats::maximum(unsigned int index) const
{
   return stat(index).maximum();
}

void DtPerformanceStats::resetAllStats()
{
   for (DtTimeStatistic & statistic : myStats)
      statistic.reset();
}
