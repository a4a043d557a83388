// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslList.h"
#include "tslutil/tslutilExport.h"

/// What a listed value does to a test. Any value but that of DtPduTestExclude accepts.
enum DtPduTestOperator : int
{
   /// Only a listed value passes.
   DtPduTestInclude = 0,
   /// A listed value fails, all others pass.
   DtPduTestExclude = 1
};

/// What the data of DtPduFilterTest::evalTest() is.
enum DtPduFilterType : int
{
   /// Something that is not read.
   DtPduFilterOther = 0,
   /// Bytes, of which one is tested.
   DtPduFilterByte = 1
};

/// Accepts or refuses a received PDU by one byte of its header: an operator and a list of values, kept as 32
/// bits each, in the order of adding. A DIS socket holds four of these and the application sets them up.
/// There is no lock: change a test only while no other thread receives on its socket.
class TSLUTIL_EXPORT DtPduFilterTest
{
public:
   /// A test that passes everything.
   DtPduFilterTest();
   /// Copies the operator and the list.
   DtPduFilterTest(DtPduFilterTest const & other);
   /// The same.
   DtPduFilterTest & operator=(DtPduFilterTest const & other);

   // Virtual operations, in slot order.

   virtual ~DtPduFilterTest();
   /// Replaces the operator and the list.
   virtual void setTest(DtPduTestOperator op, int count, unsigned long * values);
   /// Adds values at the end of the list, doubles included. A count below 1 does nothing.
   virtual void extendTest(int count, unsigned long * values);
   /// Removes the first item that holds each value; a value that is not listed is passed over.
   virtual void reduceTest(int count, unsigned long * values);
   /// Sets the operator and empties the list.
   virtual void setOperator(DtPduTestOperator op);
   /// Whether the test passes. For DtPduFilterByte it looks at the byte at `data` + `offset`; for any other
   /// type it reads nothing, and the operator alone decides.
   virtual bool evalTest(void * data, int offset, DtPduFilterType type);

protected:
   /// Empties the list.
   virtual void clearList();

public:
   /// The same operations with one value.
   void setTest(DtPduTestOperator op, unsigned long value);
   /// Adds one value.
   void extendTest(unsigned long value);
   /// Removes one value.
   void reduceTest(unsigned long value);

   /// From here on everything passes.
   void disableTest();

private:
   friend struct DtDisSocketImpl;

   bool passesAll() const { return testOperator == DtPduTestExclude && valueList.first() == nullptr; }

   DtPduTestOperator testOperator;
   DtList valueList;
};
