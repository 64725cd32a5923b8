#include "tests/dom/model.h"

namespace qvx::test {
namespace {

class Writer : public testing::Test {
 protected:
  std::string Saved(DOM_Document* document, const DOM_Node* node = nullptr) {
    EXPECT_EQ(DOM_DocumentLS_save(document, path_.c_str(), node), 0) << _msgno_buf;
    return Contents(path_).value_or("(none)");
  }

  OwnedNode Loaded(const std::string& text) {
    OwnedNode document(DOM_Implementation_createDocument(nullptr, nullptr, nullptr));
    EXPECT_EQ(Load(document.get(), text), 1) << _msgno_buf;
    return document;
  }

  TempDirectory directory_;
  std::string path_ = directory_.path() / "out.xml";
  Tree tree_;
};

TEST_F(Writer, LoadedDocuments) {
  const struct {
    std::string input, saved;
  } rows[] = {
      {"<?xml version=\"1.0\"?>\n<v>\n<a></a>\n</v>\n\n",
       "<?xml version=\"1.0\"?>\n<v>\n<a/>\n</v>\n"},
      {"<v z='1' a='&quot;&lt;'>&amp;<![CDATA[gone]]>x<!-- c --><?p d?><?q?></v>",
       "<?xml standalone=\"no\"?>\n<v z=\"1\" a=\"\"<\">&x<!-- c --><?p d?><?q ?></v>\n"},
      {"<?xml version='1.2345678901234567890' standalone='yes'?><!DOCTYPE v PUBLIC 'p' 's' "
       "[<!ENTITY e 'x'>]><v/>",
       "<?xml version=\"1.23456789012345\" standalone=\"yes\"?>\n\n<!DOCTYPE v SYSTEM "
       "\"s\">\n<v/>\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.input);
    EXPECT_EQ(Saved(Loaded(row.input).get()), row.saved);
  }
}

TEST_F(Writer, SingleNodes) {
  const OwnedNode document = Loaded(
      "<!DOCTYPE v [<!NOTATION a SYSTEM 's'><!NOTATION b PUBLIC 'p'><!NOTATION c PUBLIC 'p' "
      "'s'><!ENTITY d 'x'>"
      "<!ENTITY e PUBLIC 'p' 's'><!ENTITY f SYSTEM 's'><!ENTITY g PUBLIC 'p' 's' NDATA a><!ENTITY "
      "h SYSTEM 's' NDATA a>"
      "]><v/>");
  std::string declarations;
  for (const DOM_Node* node : Chain(document->firstChild)) {
    declarations += Saved(nullptr, node);
  }
  EXPECT_EQ(
      declarations,
      "    <!NOTATION a SYSTEM \"s\">\n    <!NOTATION b PUBLIC \"p\">\n    <!NOTATION c PUBLIC "
      "\"p\" \"s\">\n"
      "    <!ENTITY d \"x\">\n    <!ENTITY e PUBLIC \"p\" \"s\">\n    <!ENTITY f SYSTEM \"s\">\n"
      "    <!ENTITY g PUBLIC \"p\" \"s\" NDATA a>\n    <!ENTITY h SYSTEM \"s\" NDATA a>\n");
  const OwnedNode bare(Document_createNode(document.get(), DOM_ENTITY_NODE));
  EXPECT_EQ(Saved(nullptr, bare.get()), "    <!ENTITY >\n");
  const OwnedNode doctype(DOM_Implementation_createDocumentType("t", "p", nullptr));
  char subset[] = "<!ELEMENT t ANY>";
  DOM_DocumentTypePart(doctype.get()).internalSubset = subset;
  EXPECT_EQ(Saved(nullptr, doctype.get()), "\n<!DOCTYPE t PUBLIC \"p\" [\n<!ELEMENT t ANY>]>\n");
  DOM_DocumentTypePart(doctype.get()).internalSubset = nullptr;

  const OwnedNode fragment(DOM_Document_createDocumentFragment(tree_.document()));
  tree_.Add(fragment.get(), "text");
  EXPECT_EQ(Saved(nullptr, fragment.get()), "");
  EXPECT_EQ(Saved(nullptr, tree_.Add(tree_.root(), "[cdata")), "");
  tree_.Add(tree_.Add(tree_.root(), "<e"), "t");
  tree_.Add(tree_.document(), "!last");
  EXPECT_EQ(Saved(tree_.document(), fragment.get()),
            "<?xml standalone=\"no\"?>\n<r><e>t</e></r><!--last-->\n");
}

void ExpectFailure(int result, int32_t code, const std::string& trace) {
  EXPECT_EQ(result, -1);
  EXPECT_EQ(TraceText(), "src/expatls.cpp:N:" + trace);
  EXPECT_EQ(TakeError(), code);
}

TEST_F(Writer, RefusalsLeaveTheFileUntouched) {
  WriteText(path_, "before");
  ExpectFailure(
      DOM_DocumentLS_save(nullptr, path_.c_str(), nullptr), kNullParameter,
      "DOM_DocumentLS_save: A parameter was NULL: doc=(nil),uri=" + path_ + ",node=(nil)\n");
  ExpectFailure(DOM_DocumentLS_save(tree_.document(), "/nowhere/x", nullptr), ENOENT,
                "DOM_DocumentLS_save: No such file or directory: uri=/nowhere/x\n");
  *_DOM_Exception() = EPERM;
  EXPECT_EQ(DOM_DocumentLS_save(tree_.document(), path_.c_str(), nullptr), -1);
  EXPECT_EQ(DOM_DocumentLS_fwrite(tree_.document(), stdout), -1);
  EXPECT_EQ(TakeError(), EPERM);
  EXPECT_EQ(Contents(path_), "before");
}

TEST_F(Writer, AFullDiskIsNoticed) {
  const std::string full = "No space left on device";
  for (const size_t size : {10U, 100000U}) {  // noticed at the close, and while it is written
    tree_.Add(tree_.root(), std::string(size, 'x'));
    ExpectFailure(DOM_DocumentLS_save(tree_.document(), "/dev/full", nullptr), ENOSPC,
                  "DOM_DocumentLS_save: " + full + ": uri=/dev/full\n");
  }
  const File stream(std::fopen("/dev/full", "w"));
  ExpectFailure(
      DOM_DocumentLS_fwrite(tree_.document(), stream.get()), ENOSPC,
      "DOM_DocumentLS_fwrite: " + full + "\n  src/expatls.cpp:N:DOM_DocumentLS_fwrite: \n");
  const File unbuffered(std::fopen("/dev/full", "w"));
  EXPECT_EQ(std::setvbuf(unbuffered.get(), nullptr, _IONBF, 0), 0);
  EXPECT_EQ(fputds("x", unbuffered.get()), EOF);
  ExpectFailure(DOM_DocumentLS_fwrite(tree_.document(), unbuffered.get()), ENOSPC,
                "DOM_DocumentLS_fwrite: " + full + "\n");
}

}  // namespace
}  // namespace qvx::test
