#include "tests/dom/model.h"

namespace qvx::test {
namespace {

// A document that is loaded from `text`, with a listener if there is one, and it as text; the
// pieces of a CDATA section are joined.
struct Loaded {
  explicit Loaded(const std::string& text, Listener* listener = nullptr) {
    if (listener != nullptr) {
      listener->Hear(document.get(), "DOMNodeInserted");
    }
    result = Load(document.get(), text);
    xml = Xml(document.get());
    for (size_t at = 0; (at = xml.find("]]><![CDATA[", at)) != std::string::npos;) {
      xml.erase(at, strlen("]]><![CDATA["));
    }
  }
  OwnedNode document{DOM_Implementation_createDocument(nullptr, nullptr, nullptr)};
  int result;
  std::string xml;
};

// Every row is loaded many times, behind a padding that moves the end of a block over each of its
// bytes. Every other time with a listener, who gets the text in the parser's pieces.
TEST(Loader, EveryConstructHasItsNodeWhereverABlockEnds) {
  constexpr size_t kBlock = 8192;
  const struct {
    std::string declaration, rest, xml;
  } rows[] = {
      {"", "<a/>", "<a/>"},
      {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>", "\n<v>\n<a/>\n<b>True</b><c></c>\n</v>\n",
       "<v>\n<a/>\n<b>True</b><c/>\n</v>"},
      {"", "<a b='1&lt;' c='&quot;'>x &amp; y&#65;\r\n</a>", "<a b=1< c=\">x & yA\n</a>"},
      {"", "<a>t<![CDATA[<c>]]>u<![CDATA[]]>v<![CDATA[w]]><b/></a>",
       "<a>t<![CDATA[<c>]]>uv<![CDATA[w]]><b/></a>"},
      {"", "<!--1--><a>x<!--2-->y<?p q r?>z</a><?s?>", "<!--1--><a>x<!--2-->y<?p q r?>z</a><?s ?>"},
      {"",
       "<!DOCTYPE a PUBLIC 'pub' 'sys' [<!ELEMENT a (b|(c,d))*><!ATTLIST a k CDATA 'given' x CDATA "
       "#IMPLIED>"
       "<!ENTITY e 'some &#38;lt; text'><!ENTITY % p 'dropped'><!NOTATION n SYSTEM 'viewer'>"
       "<!ENTITY s SYSTEM 'skipped'>]><a x='1'>1&e;2&s;3</a>",
       "<!DOCTYPE a [<!ENTITY e some &lt; text><!NOTATION n><!ENTITY s (null)>]><a x=1 "
       "k=given>1some < text23</a>"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.rest);
    EXPECT_EQ(Loaded(row.declaration + row.rest).xml, row.xml);
    for (size_t before = 0; before < row.rest.size(); ++before) {
      const std::string pad(kBlock - row.declaration.size() - before - strlen("<?pad ?>"), 'x');
      Listener listener;
      const Loaded loaded(row.declaration + "<?pad " + pad + "?>" + row.rest,
                          before % 2 == 1 ? &listener : nullptr);
      ASSERT_EQ(loaded.xml, "<?pad " + pad + "?>" + row.xml);
      ASSERT_EQ(loaded.result, 1);
      ASSERT_EQ(loaded.document->ownerDocument, nullptr);
      ASSERT_EQ(DOM_DocumentPart(loaded.document.get()).commonParent, loaded.document.get());
    }
  }
}

TEST(Loader, TextInPieces) {
  EXPECT_EQ(Loaded("<a><![CDATA[x\ny]]></a>").document->firstChild->childNodes->length, 3U);
  std::string log;
  Listener listener{{}, &log, "l"};
  EXPECT_EQ(Loaded("<a>x&amp;y</a>", &listener).xml, "<a>x&y</a>");
  EXPECT_EQ(log, "l:DOMNodeInserted@a/3 " + Repeated("l:DOMNodeInserted@#text/3 ", 3));
  constexpr size_t kPieces = 1000000;
  EXPECT_EQ(Loaded("<a>" + Repeated("&lt;", kPieces) + "</a>").xml,
            "<a>" + std::string(kPieces, '<') + "</a>");
  for (const size_t length : {16383U, 16384U, 40000U}) {
    const std::string text(length, 'x');
    const std::string xml =
        std::string("<a>").append(text).append("<b/>").append(text).append("</a>");
    const Loaded loaded(xml);
    EXPECT_EQ(loaded.xml, xml);
    EXPECT_EQ(DOM_CharacterData_getLength(loaded.document->firstChild->lastChild), length);
  }
}

TEST(Loader, LeavesTheFlagsOfItsChanges) {
  const Loaded loaded("<a><b><c/></b><d/></a>");
  const DOM_Node* const a = loaded.document->firstChild;
  EXPECT_EQ(a->subtreeModified, 1);
  EXPECT_EQ(a->firstChild->subtreeModified, 1);
  EXPECT_EQ(a->lastChild->subtreeModified, 0);
}

TEST(Loader, AttributesGiveWayToNoneOfTheirNameThatAListenerSet) {
  Listener listener;
  listener.act = [&](DOM_Event* event) {
    DOM_Element_setAttribute(event->target, "c", "3");
    DOM_Element_setAttribute(event->target, "b", "2");
    listener.Leave(event->currentTarget, "DOMNodeInserted");
  };
  EXPECT_EQ(Loaded("<a b='1' d='1'/>", &listener).xml, "<a c=3 b=1 d=1/>");
}

TEST(Loader, OpenElementIsDestroyedByAListener) {
  Listener listener;
  listener.act = [&](DOM_Event* event) {
    listener.Leave(event->currentTarget, "DOMNodeInserted");
    DOM_Document_destroyNode(event->target->ownerDocument, event->target);
  };
  const Loaded loaded("<f><g/>x</f>", &listener);
  EXPECT_EQ(loaded.result, 0);
  EXPECT_EQ(TakeError(), DOM_NOT_FOUND_ERR);
  EXPECT_EQ(loaded.xml, "");
}

TEST(Loader, OtherEncodingsNeedALocaleThatCanDecodeThem) {
  const std::string wide("\xff\xfe<\0a\0/\0>\0", 10);
  EXPECT_EQ(Loaded(wide).xml, "<a/>");
  const std::string latin =
      "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xe9<![CDATA[\xe9]]></a>";
  for (const std::string& text : {latin, "<a>" + Repeated("\xc3\xa9", 10000) + "</a>",
                                  std::string("<a b='\xc3\xa9' c='1'/>")}) {
    EXPECT_EQ(Loaded(text).xml, "<a/>");
    EXPECT_EQ(TakeError(), EILSEQ);
  }
  const Locale locale(std::setlocale(LC_ALL, "C.UTF-8"));
  const Loaded loaded(latin);
  EXPECT_EQ(loaded.xml, "<a>\xc3\xa9<![CDATA[\xc3\xa9]]></a>");
  EXPECT_STREQ(DOM_DocumentPart(loaded.document.get()).encoding, "ISO-8859-1");
  const Loaded unknown("<?xml version='1.0' encoding='" + std::string(65, 'x') + "'?><a/>");
  EXPECT_EQ(DOM_DocumentPart(unknown.document.get()).encoding, std::string(64, 'x'));
}

/// Entities of which each refers to the one before it, `references` times.
std::string Chained(int references) {
  std::string text = "<!DOCTYPE a [<!ENTITY e0 'x'>";
  for (int i = 1; i <= references; ++i) {
    text += "<!ENTITY e" + std::to_string(i) + " '&e" + std::to_string(i - 1) + ";'>";
  }
  return text + "]><a>&e" + std::to_string(references) + ";</a>";
}

std::string Defaulted(size_t attributes) {
  return "<!DOCTYPE a [<!ATTLIST e d CDATA 'v'>]><a>" + Repeated("<e/>", attributes) + "</a>";
}

TEST(Loader, JustBelowTheBounds) {
  EXPECT_EQ(Loaded(Repeated("<e>", 499) + Repeated("</e>", 499)).result, 1);
  EXPECT_EQ(Loaded(Chained(4096)).result, 1);
  EXPECT_EQ(Loaded(Defaulted(100000)).result, 1);
}

TEST(Loader, FailuresAndWhatWasBuiltBefore) {
  const std::string reader = "src/expatls.cpp:N:DOM_DocumentLS_fread: ";
  const std::string parser = reader + "An XML parser error occured: ";
  const std::string refused = "An XML parser error occured\n  " + reader + "\n";
  const struct {
    std::string name, text;
    int32_t error;
    std::string trace;  // its front
    std::string xml;    // its front
  } rows[] = {
      {"empty", "", DOM_PARSER_ERR, parser + "no element found: line 1\n", ""},
      {"open", "<a>\n<b>x&amp;y", DOM_PARSER_ERR, parser + "no element found: line 2\n",
       "<a>\n<b>x&y</b></a>"},
      {"mismatched", "<a>x</b>", DOM_PARSER_ERR,
       parser + "mismatched tag: line 1\n  src/dom.cpp:N:DOM_Element_normalize: \n", "<a>x</a>"},
      {"binary", "\x7f\xff", DOM_PARSER_ERR, parser + "not well-formed (invalid token): line 1\n",
       ""},
      {"comment", "<!DOCTYPE a [<!--c-->]><a/>", DOM_HIERARCHY_REQUEST_ERR,
       "src/node.cpp:N:DOM_Node_appendChild: The request violated tree hierarchy constraints\n"
       "  src/expatls.cpp:N:comment_fn: \n  " +
           reader + "\n",
       "<!DOCTYPE a>"},
      {"undecodable text in front of a fault", "<a>\xc3\xa9</b>", EILSEQ,
       "src/dom.cpp:N:DOM_Document_createTextNode: Invalid or incomplete multibyte or wide "
       "character\n  src/expatls.cpp:N:chardata_fn: \n  " +
           reader + "\n",
       "<a/>"},
      {"undecodable name", "<\xc3\xa9/>", EILSEQ,
       "src/dom.cpp:N:DOM_Document_createElement: Invalid or incomplete multibyte or wide "
       "character\n  src/expatls.cpp:N:start_fn: \n",
       ""},
      {"500 levels", Repeated("<e>", 500), ERANGE,
       "src/stack.cpp:N:stack_push: Numerical result out of range: size=500,max=500\n"
       "  src/expatls.cpp:N:start_fn: \n  " +
           reader + "\n",
       Repeated("<e>", 499) + "<e/>" + Repeated("</e>", 499)},
      {"4097 nested entities", Chained(4097), DOM_PARSER_ERR,
       "src/expatls.cpp:N:entdecl_fn: " + refused, "<!DOCTYPE a [<!ENTITY e0 x><!ENTITY e1 &e0;>"},
      {"100001 attributes from declarations", Defaulted(100001), DOM_PARSER_ERR,
       "src/expatls.cpp:N:start_fn: " + refused, "<!DOCTYPE a><a><e d=v/>"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Loaded loaded(row.text);
    EXPECT_EQ(loaded.result, 0);
    EXPECT_EQ(TraceText().substr(0, row.trace.size()), row.trace);
    EXPECT_EQ(dom::LastLoadFault().line != 0, row.trace.starts_with(parser));
    EXPECT_EQ(TakeError(), row.error);
    EXPECT_TRUE(row.xml.empty() ? loaded.xml.empty() : loaded.xml.starts_with(row.xml));
  }
}

/// The result of loading a file, and the end of the trace from the operation on.
std::string Why(DOM_Document* document, const char* path) {
  const std::string result = std::to_string(DOM_DocumentLS_load(document, path));
  EXPECT_NE(TakeError(), 0);
  const std::string trace = TraceText();
  return result + trace.substr(trace.rfind("DOM_DocumentLS_") + strlen("DOM_DocumentLS"));
}

TEST(Loader, WhatCannotBeReadOrStarted) {
  const Tree tree;
  const TempDirectory directory;
  const std::string second = directory.path() / "second.xml";
  WriteText(second, "<second/>");
  EXPECT_EQ(Why(tree.document(), "/nowhere/x"),
            "-1_load: No such file or directory: uri=/nowhere/x\n");
  EXPECT_EQ(Why(tree.document(), "/"), "0_fread: Is a directory\n");
  EXPECT_EQ(Why(tree.document(), "/dev/null"),
            "-1_load: No such device or address: uri=/dev/null\n");
  EXPECT_EQ(Why(nullptr, nullptr), "-1_load: A parameter was NULL: doc=(nil),uri=(null)\n");
  EXPECT_EQ(Why(tree.root(), second.c_str()), "-1_fread: The document context is invalid\n");
  EXPECT_EQ(Why(tree.document(), second.c_str()), "0_fread: \n");
  const std::string typed = "<!DOCTYPE a><a/>";
  EXPECT_EQ(Load(Loaded(typed).document.get(), typed), 0) << "a second document type";
  EXPECT_EQ(TakeError(), DOM_PARSER_ERR);
}

}  // namespace
}  // namespace qvx::test
