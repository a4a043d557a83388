// SPDX-License-Identifier: MIT
#include "tslutil/dis/tslPduFilterTest.h"

#include <cstdint>

namespace
{

/// A value as it stands in a list item: its low 32 bits, in the data word itself.
void * itemData(unsigned long value)
{
   return reinterpret_cast<void *>(static_cast<std::uintptr_t>(static_cast<std::uint32_t>(value)));
}

} // namespace

DtPduFilterTest::DtPduFilterTest() : testOperator(DtPduTestExclude)
{
   setTest(DtPduTestExclude, 0, nullptr);
}

DtPduFilterTest::DtPduFilterTest(DtPduFilterTest const & other) = default;

DtPduFilterTest & DtPduFilterTest::operator=(DtPduFilterTest const & other) = default;

DtPduFilterTest::~DtPduFilterTest() = default;

void DtPduFilterTest::setTest(DtPduTestOperator op, int count, unsigned long * values)
{
   setOperator(op);
   extendTest(count, values);
}

void DtPduFilterTest::setTest(DtPduTestOperator op, unsigned long value)
{
   setTest(op, 1, &value);
}

void DtPduFilterTest::extendTest(int count, unsigned long * values)
{
   for (int i = 0; i < count; ++i)
      valueList.add(itemData(values[i]));
}

void DtPduFilterTest::extendTest(unsigned long value)
{
   extendTest(1, &value);
}

void DtPduFilterTest::reduceTest(int count, unsigned long * values)
{
   for (int i = 0; i < count; ++i)
      valueList.remove(valueList.itemLookup(itemData(values[i])));
}

void DtPduFilterTest::reduceTest(unsigned long value)
{
   reduceTest(1, &value);
}

// A list belongs to its operator: a new operator, also an equal one, begins with an empty list.
void DtPduFilterTest::setOperator(DtPduTestOperator op)
{
   clearList();
   testOperator = op;
}

void DtPduFilterTest::clearList()
{
   valueList.removeAll();
}

void DtPduFilterTest::disableTest()
{
   setTest(DtPduTestExclude, 0, nullptr);
}

bool DtPduFilterTest::evalTest(void * data, int offset, DtPduFilterType type)
{
   bool const excludes = testOperator == DtPduTestExclude;
   if (type != DtPduFilterByte || valueList.first() == nullptr)
      return excludes;
   void const * const wanted = itemData(static_cast<unsigned char const *>(data)[offset]);
   for (DtListItem const * item = valueList.first(); item != nullptr; item = item->next())
      if (item->data() == wanted)
         return !excludes;
   return excludes;
}
