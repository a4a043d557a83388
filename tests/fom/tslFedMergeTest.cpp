// SPDX-License-Identifier: MIT
#include "fom/fedRows.h"

using nlohmann::json;

namespace
{

TEST(DtFedTarget, RecordedListsOfModulesMergeAsExpected)
{
   std::vector<json> const lists = recordedLines("expected-merge.jsonl");
   EXPECT_EQ(lists.size(), 138u);
   for (json const & expected : lists)
      expectList<RowTarget>(
         expected, [](bool semantics, bool strict) { return RowTarget(semantics, strict); },
         [](RowTarget & target, std::string const & module) { loadRows(target, recordsOf(module)); });
}

typedef DtMergeFomStatus_enum (DtFedTarget::*Merge)(DtFedTarget const &);

// clang-format off
#define MERGE(name) {#name, &DtFedTarget::name}
std::map<std::string, Merge> const theMerges = {
   MERGE(mergeTimeTypes), MERGE(mergeSwitches), MERGE(mergeUserDefinedTypes), MERGE(mergeUpdateRates),
   MERGE(mergeBasicDataRepresentation), MERGE(mergeSimpleDatatype), MERGE(mergeEnumeratedDatatype),
   MERGE(mergeArrayDatatypeType), MERGE(mergeFixedRecordDatatype), MERGE(mergeVariantRecordDatatype),
   MERGE(mergeSyncPoints), MERGE(mergeTransportTypes), MERGE(mergeNotes)};
// clang-format on

void expectPair(json const & pair, bool semantics)
{
   std::string const suffix = semantics ? "Semantics" : "Lenient";
   RowTarget first, second;
   loadRows(first, recordsOf("open/" + pair["first"].get<std::string>()));
   loadRows(second, recordsOf("open/" + pair["second"].get<std::string>()));
   RowTarget merged(semantics, false);
   EXPECT_EQ(json({merged.mergeTarget(first), merged.mergeTarget(second)}),
             pair[semantics ? "semantics" : "lenient"]);
   EXPECT_EQ(merged.lastError().stdString(), pair.value("error" + suffix, ""));
   json failures = json::object();
   for (auto const & [name, merge] : theMerges)
   {
      RowTarget alone(semantics, false);
      alone.mergeTarget(first);
      alone.lastError() = "";
      DtMergeFomStatus_enum const status = (alone.*merge)(second);
      if (status == DtMergeFomSuccess)
         continue;
      std::string const text = alone.lastError().stdString();
      failures[name] = text.empty() ? json(status) : json({int(status), text});
   }
   EXPECT_EQ(failures, pair.value("alone" + suffix, json::object()));
}

TEST(DtFedTarget, RecordedPairsOfModulesMergeAsExpected)
{
   std::vector<json> const pairs = recordedLines("pairs.jsonl");
   EXPECT_EQ(pairs.size(), 729u);
   for (json const & pair : pairs)
   {
      SCOPED_TRACE(pair["first"].dump() + pair["second"].dump());
      for (bool const semantics : {false, true})
         expectPair(pair, semantics);
   }
}

} // namespace
