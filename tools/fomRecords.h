// SPDX-License-Identifier: MIT
/// The rows of an object model as its documents have them, each described once: reading, writing and
/// comparing go through the same description.
#pragma once

#include "tslutil/fom/tslFedRecords.h"

#include <vector>

/// One value of an enumerated datatype, by its place in the document.
struct DtEnumeratorType
{
   DtString name;
   DtString value;
   int place = 0;
};

/// One field of a fixed record, by its place in the document.
struct DtFixedRecordFieldType
{
   DtString name;
   DtString dataType;
   DtString semantics;
   int place = 0;
};

/// One alternative of a variant record, by its place in the document.
struct DtVariantRecordAlternativeType
{
   DtString enumerator;
   DtString name;
   DtString dataType;
   DtString semantics;
   int place = 0;
};

/// A dimension (a routing space's, with HLA 1.3).
struct FomDimension
{
   DtString name;
   DtString dataType;
   DtString upperBound;
   DtString normalization;
   DtString value;
};

/// A member of a class: an attribute, or a parameter, which uses the first, second and last text alone.
struct FomMember
{
   DtString name;
   DtString dataType;
   DtString updateType;
   DtString updateCondition;
   DtString ownership;
   DtString sharing;
   std::vector<DtString> dimensions;
   DtString transportation;
   DtString order;
   DtString semantics;
};

/// An object class, or an interaction class, which alone uses the dimensions, transportation and order.
struct FomClass
{
   DtString name;
   DtString sharing;
   std::vector<DtString> dimensions;
   DtString transportation;
   DtString order;
   DtString semantics;
};

/// The names of the numbers that capability and endian stand for, in their order.
inline char const * const theCapabilities[] = {"NA", "Register", "Achieve", "RegisterAchieve"};
inline char const * const theEndians[] = {"Big", "Little"};

// A visitor is handed each field with its name, in the order of a document: text, number, real, flag
// (reliable or not), choice (a number by its name), list (names of dimensions) and rows (of a record within a
// record).

template<class Visitor>
void describe(Visitor & visit, DtTimeType & row)
{
   visit.text("dataType", row.dataType);
   visit.text("semantics", row.semantics);
}

template<class Visitor>
void describe(Visitor & visit, DtUserSuppliedTagsType & row)
{
   visit.text("dataType", row.dataType);
   visit.text("semantics", row.semantics);
}

template<class Visitor>
void describe(Visitor & visit, DtSynchronizationPointsType & row)
{
   visit.text("label", row.name);
   visit.text("dataType", row.dataType);
   visit.choice("capability", row.capability, theCapabilities);
   visit.text("semantics", row.semantics);
}

template<class Visitor>
void describe(Visitor & visit, DtTransportationType & row)
{
   visit.text("name", row.name);
   visit.text("description", row.description);
   visit.flag("reliable", row.reliability);
   visit.text("semantics", row.semantics);
}

template<class Visitor>
void describe(Visitor & visit, DtUpdateRateType & row)
{
   visit.text("name", row.name);
   visit.real("rate", row.rate);
   visit.text("semantics", row.semantics);
}

template<class Visitor>
void describe(Visitor & visit, DtNotesType & row)
{
   visit.text("label", row.name);
   visit.text("semantics", row.semantics);
}

template<class Visitor>
void describe(Visitor & visit, DtBasicDataRepresentationType & row)
{
   visit.text("name", row.name);
   visit.number("size", row.size);
   visit.text("interpretation", row.interpretation);
   visit.choice("endian", row.endian, theEndians);
   visit.text("encoding", row.encoding);
}

template<class Visitor>
void describe(Visitor & visit, DtSimpleDatatypeType & row)
{
   visit.text("name", row.name);
   visit.text("representation", row.representation);
   visit.text("units", row.units);
   visit.text("resolution", row.resolution);
   visit.text("accuracy", row.accuracy);
   visit.text("semantics", row.semantics);
}

template<class Visitor>
void describe(Visitor & visit, DtEnumeratorType & row)
{
   visit.text("name", row.name);
   visit.text("value", row.value);
}

template<class Visitor>
void describe(Visitor & visit, DtEnumeratedDatatypeType & row)
{
   visit.text("name", row.name);
   visit.text("representation", row.representation);
   visit.text("semantics", row.semantics);
   visit.rows("enumerator", row.enumerators);
}

template<class Visitor>
void describe(Visitor & visit, DtArrayDatatypeType & row)
{
   visit.text("name", row.name);
   visit.text("dataType", row.dataType);
   visit.text("cardinality", row.cardinality);
   visit.text("encoding", row.encoding);
   visit.text("semantics", row.semantics);
}

template<class Visitor>
void describe(Visitor & visit, DtFixedRecordFieldType & row)
{
   visit.text("name", row.name);
   visit.text("dataType", row.dataType);
   visit.text("semantics", row.semantics);
}

template<class Visitor>
void describe(Visitor & visit, DtFixedRecordDatatypeType & row)
{
   visit.text("name", row.name);
   visit.text("encoding", row.encoding);
   visit.text("semantics", row.semantics);
   visit.rows("field", row.fields);
}

template<class Visitor>
void describe(Visitor & visit, DtVariantRecordAlternativeType & row)
{
   visit.text("enumerator", row.enumerator);
   visit.text("name", row.name);
   visit.text("dataType", row.dataType);
   visit.text("semantics", row.semantics);
}

template<class Visitor>
void describe(Visitor & visit, DtVariantRecordDatatypeType & row)
{
   visit.text("name", row.name);
   visit.text("discriminant", row.discriminant);
   visit.text("dataType", row.dataType);
   visit.rows("alternative", row.alternatives);
   visit.text("encoding", row.encoding);
   visit.text("semantics", row.semantics);
}

template<class Visitor>
void describe(Visitor & visit, FomDimension & row)
{
   visit.text("name", row.name);
   visit.text("dataType", row.dataType);
   visit.text("upperBound", row.upperBound);
   visit.text("normalization", row.normalization);
   visit.text("value", row.value);
}

template<class Visitor>
void describe(Visitor & visit, FomMember & row)
{
   visit.text("name", row.name);
   visit.text("dataType", row.dataType);
   visit.text("updateType", row.updateType);
   visit.text("updateCondition", row.updateCondition);
   visit.text("ownership", row.ownership);
   visit.text("sharing", row.sharing);
   visit.list("dimensions", row.dimensions);
   visit.text("transportation", row.transportation);
   visit.text("order", row.order);
   visit.text("semantics", row.semantics);
}

template<class Visitor>
void describe(Visitor & visit, FomClass & row)
{
   visit.text("name", row.name);
   visit.text("sharing", row.sharing);
   visit.list("dimensions", row.dimensions);
   visit.text("transportation", row.transportation);
   visit.text("order", row.order);
   visit.text("semantics", row.semantics);
}
