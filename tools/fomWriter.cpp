// SPDX-License-Identifier: MIT
#include "tools/fomWriter.h"

#include "tools/fomFields.h"

#include <pugixml.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace
{

typedef pugi::xml_node Node;

/// A visitor that makes a record an element's children (the form of 2010) or attributes (that of 2000). Empty
/// fields are left out.
class RowWriter
{
public:
   RowWriter(Node row, bool newForm) : node(row), isNew(newForm) {}

   void text(char const * name, DtString const & value) { put(name, value.stdString()); }
   void number(char const * name, std::int64_t value) { put(name, std::to_string(value)); }
   void real(char const * name, float value) { put(name, realText(value)); }

   void flag(char const * name, bool value)
   {
      if (isNew)
         put(name, value ? "Yes" : "No");
   }

   template<std::size_t size>
   void choice(char const * name, std::int64_t value, char const * const (&choices)[size])
   {
      put(name, choices[value >= 0 && value < std::int64_t(size) ? value : 0]);
   }

   void list(char const * name, std::vector<DtString> const & values)
   {
      if (values.empty())
         return;
      std::string all;
      Node parent = isNew ? node.append_child(name) : node;
      for (DtString const & value : values)
      {
         if (isNew)
            parent.append_child("dimension").text().set(value.c_str());
         all += (all.empty() ? "" : " ") + value.stdString();
      }
      if (!isNew)
         put(name, all);
   }

   template<class Set>
   void rows(char const * name, Set const & set)
   {
      for (auto const & row : inDocumentOrder(set))
      {
         RowWriter inner(node.append_child(name), isNew);
         describe(inner, *row);
      }
   }

private:
   void put(char const * name, std::string const & value)
   {
      if (value.empty())
         return;
      if (isNew)
         node.append_child(name).text().set(value.c_str());
      else
         node.append_attribute(std::strcmp(name, "value") == 0 ? "values" : name).set_value(value.c_str());
   }

   Node node;
   bool const isNew;
};

class XmlWriter
{
public:
   explicit XmlWriter(FomModel const & source) : model(source), isNew(source.fomType() != DtFom1516) {}

   void write(std::ostream & out)
   {
      Node root = document.append_child("objectModel");
      if (isNew)
         root.append_attribute("xmlns").set_value("http://standards.ieee.org/IEEE1516-2010");
      else
         root.append_attribute("DTDversion").set_value("1516.2");
      writeIdentification(root);
      writeClasses(root.append_child("objects"), "objectClass", "attribute", model.objectClasses);
      writeClasses(root.append_child("interactions"), "interactionClass", "parameter",
                   model.interactionClasses);
      Node dimensions = root.append_child("dimensions");
      for (auto const & [name, dimension] : model.dimensions)
         writeRow(dimensions.append_child("dimension"), dimension.row, dimension.place);
      writeTables(root);
      writeSwitches(root.append_child("switches"));
      writeDatatypes(root.append_child("dataTypes"));
      document.save(out, "  ");
   }

private:
   template<class Row>
   void writeRow(Node node, Row const & row, FomPlace const & place)
   {
      if (!place.notes.empty())
         node.append_attribute("notes").set_value(place.notes.c_str());
      RowWriter writer(node, isNew);
      describe(writer, const_cast<Row &>(row)); // a writer changes nothing
   }

   template<class Table>
   void writeTable(Node parent, char const * tableTag, char const * rowTag, Table const & table)
   {
      Node node = parent.append_child(tableTag);
      for (auto const & row : table)
         writeRow(node.append_child(rowTag == nullptr ? row->name.c_str() : rowTag), *row,
                  model.placeOf(row.get()));
   }

   void writeIdentification(Node root)
   {
      if (!isNew)
      {
         root.append_attribute("name").set_value(model.modelIdentification.c_str());
         root.append_attribute("type").set_value("FOM");
         return;
      }
      Node node = root.append_child("modelIdentification");
      node.append_child("name").text().set(model.modelIdentification.c_str());
      node.append_child("type").text().set("FOM");
   }

   void writeTables(Node root)
   {
      writeTable(root, "time", nullptr, model.timeTypes);
      writeTable(root, "tags", nullptr, model.userDefinedTags);
      writeTable(root, "synchronizations", isNew ? "synchronizationPoint" : "synchronization",
                 model.syncPoints);
      writeTable(root, "transportations", "transportation", model.transportTypes);
      writeTable(root, "updateRates", "updateRate", model.updateRates);
      writeTable(root, "notes", "note", model.notes);
   }

   void writeDatatypes(Node types)
   {
      writeTable(types, "basicDataRepresentations", "basicData", model.basicDataRepresentations);
      writeTable(types, "simpleDataTypes", "simpleData", model.simpleDatatypes);
      writeTable(types, "enumeratedDataTypes", "enumeratedData", model.enumeratedDatatypes);
      writeTable(types, "arrayDataTypes", "arrayData", model.arrayDatatypes);
      writeTable(types, "fixedRecordDataTypes", "fixedRecordData", model.fixedRecordDatatypes);
      writeTable(types, "variantRecordDataTypes", "variantRecordData", model.variantRecordDatatypes);
   }

   void writeSwitches(Node node)
   {
      for (FomSwitch const & each : theFomSwitches)
      {
         if (!model.knownSwitch(each.name))
            continue;
         bool const isOn = model.switchValue(each.name);
         if (isNew)
            node.append_child(each.name).append_attribute("isEnabled").set_value(isOn);
         else
            node.append_attribute(each.name).set_value(isOn ? "Enabled" : "Disabled");
      }
      if (isNew && !model.switches.empty())
         node.append_child("automaticResignAction")
            .append_attribute("resignAction")
            .set_value(theResignActions[model.automaticResignAction()]);
   }

   // Parents stand ahead of their subclasses in the order of full names.
   void writeClasses(Node root, char const * classTag, char const * memberTag,
                     FomModel::Classes const & classes)
   {
      std::map<DtString, Node> nodes;
      for (auto const & [name, entry] : classes)
      {
         auto const parent = nodes.find(entry.parent);
         Node node = (parent == nodes.end() ? root : parent->second).append_child(classTag);
         writeRow(node, entry.row, entry.place);
         for (FomModel::Member const & member : entry.members)
            writeRow(node.append_child(memberTag), member.row, member.place);
         nodes.emplace(name, node);
      }
   }

   FomModel const & model;
   bool const isNew;
   pugi::xml_document document;
};

class FedWriter
{
public:
   FedWriter(FomModel const & source, std::ostream & stream) : model(source), out(stream) {}

   void write()
   {
      out << "(FED\n  (Federation \"" << model.modelIdentification << "\")\n  (FEDversion v1.3)\n  (spaces\n";
      for (auto const & [name, space] : model.spaces)
      {
         out << "    (space " << word(name);
         for (DtString const & dimension : space.dimensions)
            out << " (dimension " << word(dimension) << ")";
         out << ")\n";
      }
      out << "  )\n";
      writeClasses("objects", "attribute", model.objectClasses);
      writeClasses("interactions", "parameter", model.interactionClasses);
      out << ")\n";
   }

private:
   void writeClasses(char const * part, char const * memberWord, FomModel::Classes const & classes)
   {
      out << "  (" << part << "\n";
      std::vector<DtString> open;
      for (auto const & [name, entry] : classes)
      {
         close(open, entry.parent);
         out << indent(open) << "(class " << word(entry.row.name) << delivery(entry.row) << "\n";
         open.push_back(name);
         for (FomModel::Member const & member : entry.members)
            out << indent(open) << "(" << memberWord << " " << word(member.row.name) << delivery(member.row)
                << ")\n";
      }
      close(open, DtString());
      out << "  )\n";
   }

   void close(std::vector<DtString> & open, DtString const & parent)
   {
      while (!open.empty() && open.back() != parent)
      {
         open.pop_back();
         out << indent(open) << ")\n";
      }
   }

   /// A word as it stands in a document: in quotation marks if it would end too early.
   static std::string word(DtString const & text)
   {
      std::string const plain = text.stdString();
      bool const whole = !plain.empty() && plain.find_first_of(" \t\r\n();") == std::string::npos;
      return whole ? plain : '"' + plain + '"';
   }

   static std::string indent(std::vector<DtString> const & open)
   {
      return std::string(4 + 2 * open.size(), ' ');
   }

   template<class Row>
   static std::string delivery(Row const & row)
   {
      std::string text;
      for (DtString const & each : {row.transportation, row.order})
         text += each.isEmpty() ? "" : " " + word(each);
      for (DtString const & space : row.dimensions)
         text += " " + word(space);
      return text;
   }

   FomModel const & model;
   std::ostream & out;
};

} // namespace

void writeFom(FomModel const & model, std::string const & path)
{
   std::string const unfinished = path + ".part";
   std::ofstream out(unfinished, std::ios::binary);
   if (model.fomType() == DtFomHla13)
      FedWriter(model, out).write();
   else
      XmlWriter(model).write(out);
   out.close();
   if (out && std::rename(unfinished.c_str(), path.c_str()) == 0)
      return;
   std::string const reason = std::strerror(errno);
   std::remove(unfinished.c_str());
   throw std::runtime_error(path + ": cannot be written: " + reason);
}
