#include "tools/host_installer/xml_document.h"

#include <libxml/parser.h>

#include <algorithm>
#include <new>

#include "tools/common/failure.h"

namespace zenta::host_installer {
namespace {

using tools::Failure;

struct ParserFree {
  void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};

const xmlChar* Text(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

std::string TakeText(xmlChar* owned) {
  const std::unique_ptr<xmlChar, XmlFree> text(owned);
  return text == nullptr ? "" : reinterpret_cast<const char*>(text.get());
}

// libxml2 calls this at "<!DOCTYPE name", before it reads the declarations in it.
void StopAtDocumentType(void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
  auto* const parser = static_cast<xmlParserCtxt*>(context);
  *static_cast<bool*>(parser->_private) = true;
  xmlStopParser(parser);
}

// libxml2 compares each attribute of an element with all others before any callback could stop it.
// An upper bound is enough: every attribute has a '=', and every element begins with '<'.
bool HasTooManyAttributes(std::string_view xml) {
  constexpr int kMost = 4096;
  int count = 0;
  return std::any_of(xml.begin(), xml.end(), [&](char c) {
    count = c == '<' ? 0 : count + (c == '=');
    return count > kMost;
  });
}

}  // namespace

XmlDocument ParseXml(std::string_view xml, const char* root, const char* what) {
  const std::string name = "the package's " + std::string(what);
  if (xml.size() > kMaxXmlBytes) throw Failure(name + " is too long");
  if (HasTooManyAttributes(xml)) throw Failure(name + " has too many attributes");
  const std::unique_ptr<xmlParserCtxt, ParserFree> parser(xmlNewParserCtxt());
  if (parser == nullptr) throw std::bad_alloc();
  bool has_document_type = false;
  parser->_private = &has_document_type;
  parser->sax->internalSubset = &StopAtDocumentType;
  constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
  XmlDocument document(xmlCtxtReadMemory(parser.get(), xml.data(), static_cast<int>(xml.size()),
                                         nullptr, "UTF-8", kOptions));
  if (has_document_type) throw Failure(name + " has a document type");
  const xmlNode* top = document == nullptr ? nullptr : xmlDocGetRootElement(document.get());
  if (top == nullptr || !HasName(top, root)) throw Failure(name + " is not valid");
  return document;
}

bool HasName(const xmlNode* node, const char* name) {
  return node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, Text(name)) != 0;
}

const xmlNode* Child(const xmlNode* parent, const char* name) {
  const xmlNode* child = parent == nullptr ? nullptr : parent->children;
  while (child != nullptr && !HasName(child, name)) child = child->next;
  return child;
}

std::string TextOf(const xmlNode* node) {
  return node == nullptr ? "" : TakeText(xmlNodeGetContent(node));
}

std::string AttributeOf(const xmlNode* node, const char* name) {
  return node == nullptr ? "" : TakeText(xmlGetProp(const_cast<xmlNode*>(node), Text(name)));
}

}  // namespace zenta::host_installer
