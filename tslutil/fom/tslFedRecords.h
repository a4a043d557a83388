// SPDX-License-Identifier: MIT
/// The rows of an object model's tables, as a parser of a FOM document fills them and a DtFedTarget keeps
/// them. Plain values: every field is public, the first is the row's key, and nothing is checked here. A
/// target holds them by boost::shared_ptr; merges and copies of targets share them, so a row that is in a
/// target is not to be renamed.
#pragma once

#include "tslutil/base/tslString.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <set>

/// One value of an enumerated datatype. Defined by the layer that parses the FOM, never opened here.
struct DtEnumeratorType;
/// One field of a fixed record. Defined by the layer that parses the FOM, never opened here.
struct DtFixedRecordFieldType;
/// One alternative of a variant record. Defined by the layer that parses the FOM, never opened here.
struct DtVariantRecordAlternativeType;

/// A row of the time representation table.
struct DtTimeType
{
   DtString name;      ///< which time representation this row is
   DtString dataType;  ///< the datatype that carries it
   DtString semantics; ///< free text
};

/// A row of the user-supplied tag table.
struct DtUserSuppliedTagsType
{
   DtString name;      ///< which tag this row is
   DtString dataType;  ///< the datatype that carries it
   DtString semantics; ///< free text
};

/// A row of the synchronization table.
struct DtSynchronizationPointsType
{
   DtString name;               ///< the point's label
   DtString dataType;           ///< the datatype of its tag
   std::int64_t capability = 0; ///< the point's capability, in the numbers of the parsing layer
   DtString semantics;          ///< free text; compared on merge
};

/// A row of the transportation type table.
struct DtTransportationType
{
   DtString name;            ///< with which attributes and interactions refer to it
   DtString description;     ///< free text
   bool reliability = false; ///< true for reliable transport; compared on merge
   DtString semantics;       ///< free text; compared on merge
};

/// A row of the update rate table.
struct DtUpdateRateType
{
   DtString name;      ///< the rate's name
   float rate = 0.0f;  ///< updates a second; 0 counts as uninitialized; compared on merge
   DtString semantics; ///< free text; compared on merge
};

/// A row of the notes table.
struct DtNotesType
{
   DtString name;      ///< the note's label
   DtString semantics; ///< the note's text; compared on merge
};

/// A row of the basic data representation table.
struct DtBasicDataRepresentationType
{
   DtString name;           ///< the representation's name
   std::int64_t size = 0;   ///< bits, in the numbers of the parsing layer
   DtString interpretation; ///< free text
   std::int64_t endian = 0; ///< byte order, in the numbers of the parsing layer
   DtString encoding;       ///< free text
};

/// A row of the simple datatype table.
struct DtSimpleDatatypeType
{
   DtString name;           ///< the datatype's name
   DtString representation; ///< the underlying basic representation
   DtString units;          ///< free text
   DtString resolution;     ///< free text
   DtString accuracy;       ///< free text
   DtString semantics;      ///< free text
};

/// A row of the enumerated datatype table.
struct DtEnumeratedDatatypeType
{
   DtString name;                                             ///< the datatype's name
   DtString representation;                                   ///< the underlying basic representation
   std::set<boost::shared_ptr<DtEnumeratorType>> enumerators; ///< its values
   DtString semantics;                                        ///< free text
};

/// A row of the array datatype table.
struct DtArrayDatatypeType
{
   DtString name;        ///< the datatype's name
   DtString dataType;    ///< the elements' datatype
   DtString cardinality; ///< how many elements
   DtString encoding;    ///< free text
   DtString semantics;   ///< free text
};

/// A row of the fixed record datatype table.
struct DtFixedRecordDatatypeType
{
   DtString name;                                              ///< the datatype's name
   DtString encoding;                                          ///< free text
   DtString semantics;                                         ///< free text
   std::set<boost::shared_ptr<DtFixedRecordFieldType>> fields; ///< its fields
};

/// A row of the variant record datatype table.
struct DtVariantRecordDatatypeType
{
   DtString name;                                                            ///< the datatype's name
   DtString discriminant;                                                    ///< the discriminant's name
   DtString dataType;                                                        ///< the discriminant's datatype
   std::set<boost::shared_ptr<DtVariantRecordAlternativeType>> alternatives; ///< its alternatives
   DtString encoding;                                                        ///< free text
   DtString semantics;                                                       ///< free text
};
