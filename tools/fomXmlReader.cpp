// SPDX-License-Identifier: MIT
// Reads the XML forms of a model. In the form of 2010 a row's fields are elements, in that of 2000
// attributes.
#include "tools/fomFields.h"
#include "tools/fomReader.h"

#include <pugixml.hpp>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <sstream>

namespace
{

typedef pugi::xml_node Node;

/// Finds lines by offsets.
class Lines
{
public:
   explicit Lines(std::string const & text)
   {
      for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1))
         ends.push_back(at);
   }

   std::size_t at(std::ptrdiff_t offset) const
   {
      std::size_t const place = offset < 0 ? 0 : static_cast<std::size_t>(offset);
      return static_cast<std::size_t>(std::lower_bound(ends.begin(), ends.end(), place) - ends.begin()) + 1;
   }

private:
   std::vector<std::size_t> ends;
};

/// The text of a document, in UTF-8 if it came in UTF-16: offsets then count what the lines count.
std::string & toUtf8(std::string & text)
{
   bool const isBig = text.compare(0, 2, "\xFE\xFF") == 0;
   if (!isBig && text.compare(0, 2, "\xFF\xFE") != 0)
      return text;
   std::wstring wide;
   for (std::size_t i = 2; i + 1 < text.size(); i += 2)
   {
      auto const byte = [&](std::size_t at)
      { return static_cast<unsigned>(static_cast<unsigned char>(text[at])); };
      unsigned const unit = byte(isBig ? i : i + 1) << 8 | byte(isBig ? i + 1 : i);
      bool const isSecond = unit >> 10 == 0x37 && !wide.empty() && unsigned(wide.back()) >> 10 == 0x36;
      if (isSecond)
         wide.back() = wchar_t(0x10000 + ((unsigned(wide.back()) & 0x3FF) << 10) + (unit & 0x3FF));
      else
         wide.push_back(wchar_t(unit));
   }
   return text = pugi::as_utf8(wide);
}

/// All the text of an element, comments left out.
std::string contentOf(Node node)
{
   std::string content;
   for (Node const child : node)
      if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata)
         content += child.value();
   return content;
}

class XmlReader
{
public:
   XmlReader(std::string const & name, std::string & text, FomModel & target)
      : file(std::make_shared<std::string const>(name)), lines(toUtf8(text)), model(target)
   {
      pugi::xml_parse_result const result = document.load_buffer_inplace(
         text.data(), text.size(), pugi::parse_default | pugi::parse_ws_pcdata_single);
      if (!result)
         throw error(result.offset, std::string("is no XML: ") + result.description());
   }

   void read();

   FomReadError error(std::ptrdiff_t offset, std::string const & what) const
   {
      return FomReadError(*file + ":" + std::to_string(lines.at(offset)) + ": " + what);
   }

   FomPlace place(Node node) const
   {
      return {file, lines.at(node.offset_debug()), node.attribute("notes").value()};
   }

   bool isNew = false; ///< the form of 2010

private:
   void readIdentification(Node root);
   void readNamedRows(Node root);
   void readTables(Node root);
   void readDatatypes(Node types);
   void readSwitches(Node switches);
   void readSwitch(char const * name, std::string const & value, bool isOn, Node node);
   void readDimensions(Node root);
   void readClasses(Node root, char const * classTag, char const * memberTag, FomModel::Classes & classes);

   template<class Record>
   Record * record(Node node);

   template<class Record>
   void readRows(Node parent, char const * title, std::initializer_list<char const *> tags,
                 DtFedNamedTable<Record> DtFedTarget::*table, void (DtFedTarget::*adder)(Record *))
   {
      for (Node const node : parent)
      {
         if (std::none_of(tags.begin(), tags.end(),
                          [&](char const * tag) { return std::strcmp(tag, node.name()) == 0; }))
            continue;
         model.add(record<Record>(node), table, adder, place(node), title);
      }
   }

   std::shared_ptr<std::string const> const file;
   Lines const lines;
   pugi::xml_document document;
   FomModel & model;
};

/// A visitor that fills a record from its element.
class RowReader
{
public:
   RowReader(XmlReader const & xml, Node row) : reader(xml), node(row) {}

   void text(char const * name, DtString & value) { value = fieldOf(name).c_str(); }

   void number(char const * name, std::int64_t & value) { parse(name, value); }

   void real(char const * name, float & value) { parse(name, value); }

   // The older form knows transportations by name alone.
   void flag(char const * name, bool & value)
   {
      std::string const field = wordOf(name);
      value = reader.isNew ? field == "Yes" || field == "true" || field == "1" : nameOf() != "HLAbestEffort";
   }

   template<std::size_t size>
   void choice(char const * name, std::int64_t & value, char const * const (&choices)[size])
   {
      std::string const field = wordOf(name);
      value = std::find(choices, choices + size, field) - choices;
      if (value < std::int64_t(size))
         return;
      value = 0;
      if (!field.empty() && field != "TBD" && field != "NoSynch")
         throw noSuch(name, field);
   }

   void list(char const * name, std::vector<DtString> & values)
   {
      Node const parent = node.child(name);
      for (Node const child : parent.children("dimension"))
         values.emplace_back(contentOf(child));
      if (!values.empty())
         return;
      std::string all = fieldOf(name);
      std::replace(all.begin(), all.end(), ',', ' ');
      std::istringstream words(all);
      for (std::string word; words >> word;)
         if (word != "NA")
            values.emplace_back(word);
   }

   template<class Set>
   void rows(char const * name, Set & set)
   {
      typedef typename Set::value_type::element_type Row;
      int number = 0;
      for (Node const child : node.children(name))
      {
         boost::shared_ptr<Row> const row(new Row);
         RowReader inner(reader, child);
         describe(inner, *row);
         row->place = number++;
         set.insert(row);
      }
   }

private:
   /// A field by its name, or by what the older form calls it.
   std::string fieldOf(char const * name) const
   {
      if (reader.isNew)
         return contentOf(node.child(name));
      pugi::xml_attribute attribute = node.attribute(name);
      if (!attribute && std::strcmp(name, "value") == 0)
         attribute = node.attribute("values");
      if (!attribute && std::strcmp(name, "label") == 0)
         attribute = node.attribute("name");
      return attribute.value();
   }

   /// A field without the blanks around it.
   std::string wordOf(char const * name) const
   {
      std::string field = fieldOf(name);
      field.erase(0, field.find_first_not_of(" \t\r\n"));
      field.erase(field.find_last_not_of(" \t\r\n") + 1);
      return field;
   }

   std::string nameOf() const { return fieldOf("name"); }

   template<class Number>
   void parse(char const * name, Number & value)
   {
      std::string const field = wordOf(name);
      auto const [end, failure] = std::from_chars(field.data(), field.data() + field.size(), value);
      if (!field.empty() && (failure != std::errc() || end != field.data() + field.size()))
         throw noSuch(name, field);
   }

   FomReadError noSuch(char const * name, std::string const & field) const
   {
      return reader.error(node.offset_debug(), "\"" + field.substr(0, 40) + "\" is no " + name);
   }

   XmlReader const & reader;
   Node const node;
};

template<class Record>
Record * XmlReader::record(Node node)
{
   auto row = std::make_unique<Record>();
   RowReader visitor(*this, node);
   describe(visitor, *row);
   return row.release();
}

void XmlReader::read()
{
   Node const root = document.child("objectModel");
   if (!root)
      throw error(document.first_child().offset_debug(), "is no object model: the outermost element is \"" +
                                                            std::string(document.document_element().name()) +
                                                            "\", not \"objectModel\"");
   isNew = !root.attribute("DTDversion") && !root.attribute("name");
   model.setFomType(isNew ? DtFom1516e : DtFom1516);
   readIdentification(root);
   readNamedRows(root);
   readTables(root);
   readDatatypes(root.child("dataTypes"));
   readSwitches(root.child("switches"));
   readDimensions(root);
   readClasses(root.child("objects"), "objectClass", "attribute", model.objectClasses);
   readClasses(root.child("interactions"), "interactionClass", "parameter", model.interactionClasses);
}

void XmlReader::readIdentification(Node root)
{
   std::string const name =
      isNew ? contentOf(root.child("modelIdentification").child("name")) : root.attribute("name").value();
   model.addModelIdentification(name.c_str());
}

/// The two tables whose rows are named by their elements.
void XmlReader::readNamedRows(Node root)
{
   for (Node const node : root.child("time"))
   {
      if (node.type() != pugi::node_element)
         continue;
      DtTimeType * const row = record<DtTimeType>(node);
      row->name = node.name();
      model.add(row, &DtFedTarget::addTime, place(node));
   }
   for (Node const node : root.child("tags"))
   {
      if (node.type() != pugi::node_element)
         continue;
      DtUserSuppliedTagsType * const row = record<DtUserSuppliedTagsType>(node);
      row->name = node.name();
      model.add(row, &DtFedTarget::addUserDefinedTag, place(node));
   }
}

void XmlReader::readTables(Node root)
{
   readRows(root.child("synchronizations"), "synchronization points",
            {"synchronizationPoint", "synchronization"}, &FomModel::syncPoints, &DtFedTarget::addSyncPoint);
   readRows(root.child("transportations"), "transportations", {"transportation"}, &FomModel::transportTypes,
            &DtFedTarget::addTransportType);
   readRows(root.child("updateRates"), "update rates", {"updateRate"}, &FomModel::updateRates,
            &DtFedTarget::addUpdateRate);
   readRows(root.child("notes"), "notes", {"note"}, &FomModel::notes, &DtFedTarget::addNote);
}

void XmlReader::readDatatypes(Node types)
{
   readRows(types.child("basicDataRepresentations"), "basic data representations", {"basicData"},
            &FomModel::basicDataRepresentations, &DtFedTarget::addBasicDataRepresentation);
   readRows(types.child("simpleDataTypes"), "simple datatypes", {"simpleData"}, &FomModel::simpleDatatypes,
            &DtFedTarget::addSimpleDataType);
   readRows(types.child("enumeratedDataTypes"), "enumerated datatypes", {"enumeratedData"},
            &FomModel::enumeratedDatatypes, &DtFedTarget::addEnumeratedDataType);
   readRows(types.child("arrayDataTypes"), "array datatypes", {"arrayData"}, &FomModel::arrayDatatypes,
            &DtFedTarget::addArrayDataType);
   readRows(types.child("fixedRecordDataTypes"), "fixed record datatypes", {"fixedRecordData"},
            &FomModel::fixedRecordDatatypes, &DtFedTarget::addFixedRecordDataType);
   readRows(types.child("variantRecordDataTypes"), "variant record datatypes", {"variantRecordData"},
            &FomModel::variantRecordDatatypes, &DtFedTarget::addVariantRecordDataType);
}

void XmlReader::readSwitch(char const * name, std::string const & value, bool isOn, Node node)
{
   if (std::strcmp(name, "automaticResignAction") == 0)
   {
      auto const action = std::find(std::begin(theResignActions), std::end(theResignActions), value);
      if (action == std::end(theResignActions))
         throw error(node.offset_debug(), "\"" + value.substr(0, 40) + "\" is no resign action");
      model.setAutomaticResignAction(DtResignAction(action - theResignActions));
      return;
   }
   for (FomSwitch const & each : theFomSwitches)
      if (std::strcmp(each.name, name) == 0)
         model.addSwitchAt(name, isOn, each.set, place(node));
}

void XmlReader::readSwitches(Node switches)
{
   for (pugi::xml_attribute const attribute : switches.attributes())
      readSwitch(attribute.name(), attribute.value(), std::strcmp(attribute.value(), "Enabled") == 0,
                 switches);
   for (Node const node : switches)
      readSwitch(node.name(), node.attribute("resignAction").value(), node.attribute("isEnabled").as_bool(),
                 node);
}

void XmlReader::readDimensions(Node root)
{
   for (Node const node : root.child("dimensions").children("dimension"))
   {
      std::unique_ptr<FomDimension> const row(record<FomDimension>(node));
      model.dimensions.emplace(row->name, FomModel::Dimension{*row, place(node)});
   }
}

void XmlReader::readClasses(Node root, char const * classTag, char const * memberTag,
                            FomModel::Classes & classes)
{
   struct Step
   {
      Node node;
      DtString parent;
      std::size_t depth;
   };
   std::vector<Step> steps;
   for (Node const node : root.children(classTag))
      steps.push_back({node, "", 1});
   for (std::size_t i = 0; i < steps.size(); ++i)
   {
      Step const step = steps[i];
      if (step.depth > theDeepestClass)
         throw error(step.node.offset_debug(),
                     "classes are nested deeper than " + std::to_string(theDeepestClass) + " levels");
      std::unique_ptr<FomClass> const row(record<FomClass>(step.node));
      DtString const fullName = step.parent.isEmpty() ? row->name : step.parent + "." + row->name;
      if (fullName.size() > theLongestClassName)
         throw error(step.node.offset_debug(), "the full name of a class is longer than " +
                                                  std::to_string(theLongestClassName) + " characters");
      FomModel::Class entry{*row, step.parent, {}, place(step.node)};
      for (Node const node : step.node.children(memberTag))
         entry.members.push_back({*std::unique_ptr<FomMember>(record<FomMember>(node)), place(node)});
      model.addClass(classes, fullName, entry);
      for (Node const node : step.node.children(classTag))
         steps.push_back({node, fullName, step.depth + 1});
   }
}

} // namespace

void readFomXml(std::string const & name, std::string & text, FomModel & model)
{
   XmlReader(name, text, model).read();
}
