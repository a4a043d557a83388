// SPDX-License-Identifier: MIT
// Reads the FED form of HLA 1.3: nested lists in parentheses, comments from a semicolon to the end of the
// line.
#include "tools/fomReader.h"

#include <algorithm>

namespace
{

/// A list or a word of a FED document.
struct Item
{
   std::string word; ///< of a list, its first word
   std::size_t line;
   std::vector<Item> items; ///< what stands behind the first word
   bool isList;
};

class FedReader
{
public:
   FedReader(std::string const & name, std::string const & document, FomModel & target)
      : file(std::make_shared<std::string const>(name)), text(document), model(target)
   {
   }

   void read()
   {
      skipBlanks();
      Item const root = parseList(1);
      skipBlanks();
      if (at != text.size())
         throw error(line, "text behind the end of the model");
      if (root.word != "FED")
         throw error(root.line, "is no FED: it begins with \"" + root.word.substr(0, 40) + "\"");
      model.setFomType(DtFomHla13);
      for (Item const & item : root.items)
         readPart(item);
   }

private:
   FomReadError error(std::size_t where, std::string const & what) const
   {
      return FomReadError(*file + ":" + std::to_string(where) + ": " + what);
   }

   void skipBlanks()
   {
      while (at < text.size())
      {
         char const c = text[at];
         if (c == ';')
            at = std::min(text.find('\n', at), text.size());
         else if (c == ' ' || c == '\t' || c == '\r' || c == '\n')
         {
            line += c == '\n' ? 1 : 0;
            ++at;
         }
         else
            return;
      }
   }

   std::string parseWord()
   {
      std::size_t const begin = at;
      if (text[at] == '"')
      {
         at = text.find('"', at + 1);
         if (at == std::string::npos)
            throw error(line, "a quotation mark is not closed");
         ++at;
         std::string const word = text.substr(begin + 1, at - begin - 2);
         line += static_cast<std::size_t>(std::count(word.begin(), word.end(), '\n'));
         return word;
      }
      at = std::min(text.find_first_of(" \t\r\n();", at), text.size());
      return text.substr(begin, at - begin);
   }

   Item parseList(std::size_t depth)
   {
      if (depth > theDeepestClass)
         throw error(line, "lists are nested deeper than " + std::to_string(theDeepestClass) + " levels");
      Item list{"", line, {}, true};
      bool isFirst = true;
      for (++at; skipBlanks(), at < text.size(); isFirst = false)
      {
         if (text[at] == ')')
         {
            ++at;
            return list;
         }
         std::size_t const begin = line;
         if (text[at] == '(')
            list.items.push_back(parseList(depth + 1));
         else if (isFirst)
            list.word = parseWord();
         else
            list.items.push_back({parseWord(), begin, {}, false});
      }
      throw error(list.line, "this list is not closed");
   }

   static DtString wordAt(Item const & item, std::size_t place)
   {
      std::size_t words = 0;
      for (Item const & inner : item.items)
         if (!inner.isList && words++ == place)
            return DtString(inner.word);
      return DtString();
   }

   void readPart(Item const & part)
   {
      if (part.word == "Federation")
         model.addModelIdentification(wordAt(part, 0));
      for (Item const & item : part.items)
      {
         if (part.word == "spaces" && item.word == "space")
            readSpace(item);
         else if (part.word == "objects" && item.word == "class")
            readClass(item, "", "attribute", model.objectClasses);
         else if (part.word == "interactions" && item.word == "class")
            readClass(item, "", "parameter", model.interactionClasses);
      }
   }

   void readSpace(Item const & space)
   {
      FomModel::Space read{{}, {file, space.line, ""}};
      for (Item const & item : space.items)
         if (item.word == "dimension")
            read.dimensions.push_back(wordAt(item, 0));
      model.spaces.emplace(wordAt(space, 0), read);
   }

   // An object class has just a name, so no delivery either: its attributes have.
   void readClass(Item const & item, DtString const & parent, char const * memberWord,
                  FomModel::Classes & classes)
   {
      FomModel::Class entry{FomClass(), parent, {}, {file, item.line, ""}};
      entry.row.name = wordAt(item, 0);
      readDelivery(item, entry.row);
      DtString const name = parent.isEmpty() ? entry.row.name : parent + "." + entry.row.name;
      if (name.size() > theLongestClassName)
         throw error(item.line, "the full name of a class is longer than " +
                                   std::to_string(theLongestClassName) + " characters");
      for (Item const & inner : item.items)
      {
         if (inner.word != memberWord)
            continue;
         FomMember member;
         member.name = wordAt(inner, 0);
         readDelivery(inner, member);
         entry.members.push_back({member, {file, inner.line, ""}});
      }
      model.addClass(classes, name, entry);
      for (Item const & inner : item.items)
         if (inner.word == "class")
            readClass(inner, name, memberWord, classes);
   }

   /// Transportation, order and routing space behind the name.
   template<class Row>
   static void readDelivery(Item const & item, Row & row)
   {
      row.transportation = wordAt(item, 1);
      row.order = wordAt(item, 2);
      DtString const space = wordAt(item, 3);
      if (!space.isEmpty())
         row.dimensions.push_back(space);
   }

   std::shared_ptr<std::string const> const file;
   std::string const & text;
   FomModel & model;
   std::size_t at = 0;
   std::size_t line = 1;
};

} // namespace

void readFed(std::string const & name, std::string const & text, FomModel & model)
{
   FedReader(name, text, model).read();
}
