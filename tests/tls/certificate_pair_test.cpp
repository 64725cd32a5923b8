#include <openssl/core_names.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <sys/file.h>

#include <climits>
#include <csignal>
#include <fstream>
#include <regex>

#include "log/ring_log.h"
#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"
#include "tests/harness/lock.h"
#include "tls/certificate.h"
#include "tls/certificate_details.h"
#include "tls/pair_check.h"
#include "tls/pem_files.h"
#include "tls/self_signed.h"

namespace qvx::test {
namespace {

/// An installation with a running log, and the shell with the `openssl` program to make and read
/// certificates.
class CertificatePair : public testing::Test {
 protected:
  CertificatePair() { SetupLogsAndDebug(nullptr); }

  /// What a command that runs in the TLS share directory writes on both its streams.
  static std::string Shell(const std::string& command) {
    return RunShell("exec 2>&1; cd $SSL_SHARE_BASE_DIR;" + command).output;
  }

  /// The content of a file in the TLS share directory; nothing when it is no file.
  std::optional<std::string> InShare(const char* name) const {
    const std::filesystem::path path = installation_.tls() / name;
    return is_regular_file(path) ? Contents(path) : std::nullopt;
  }

  /// The log's records, each as its severity, ":" and its message.
  static std::string Records() {
    static const std::regex heading("\n\n[A-Z ]+ \\(severity=([0-3])\\)  .{24}\n");
    return std::regex_replace(Contents(QvxLogFile).value_or("00000009\n").substr(9), heading,
                              "$1:");
  }

  const std::string owner_ = ServiceOwner();
  const Installation installation_;
};

const std::string kGenerated =
    "0:A new self signed certificate was generated.\n"
    "0:Certificate was successfully secured via the file system protection.\n"
    "0:A new private key was generated.\n"
    "0:Private key was successfully secured via the file system protection.\n";

const std::string kNoCertificate =
    "0:Unable to load certificate file during SSL Server Initialization\n";
const std::string kNoKey = "2:Unable to load private key during SSL Server Initialization\n";
const std::string kMismatch =
    "2:The SSL certificate and private key did not match during SSL Server Initialization\n";
const std::string kOtherName =
    "2:This certificate has a Common Name (CN) that doesn't match the server's name\n";
const std::string kCertificateAside =
    "2:The server certificate did not match the private key and has been regenerated.\n"
    "The problematic certificate was renamed certmm.pem and is in the \"..\\zx\\sslshare\" "
    "subdirectory.\n";
const std::string kKeyAside =
    "2:The private key did not match the server certificate and has been regenerated.\n"
    "The problematic private key was renamed filemm.pem and is in the \"..\\zx\\sslshare\"  "
    "subdirectory.\n";

// pair SUBJECT [ALGORITHM [DIGEST]]; key ALGORITHM: a key of another pair; lock: encrypts the key.
// Everybody may read the old files, so that a copy is not secret by itself.
const std::string kMakers = R"(rm -rf *; h=$(hostname)
u='Brennick-Talvar Network Management Software (QVX)'; echo old >filemm.pem; chmod 666 filemm.pem
pair() {
  openssl req -x509 -nodes -newkey ${2:-rsa:1024} -${3:-sha256} -subj "$1" -keyout file.pem \
    -out cert.pem
  chmod 666 file.pem
}
key() { openssl genpkey -algorithm $1 -out file.pem; }
lock() { openssl rsa -aes128 -passout pass:word -in file.pem -out file.pem; }
der() { openssl x509 -in cert.pem -outform der; }
)";

TEST_F(CertificatePair, TooLongAlternativeNamesAreLogged) {
  const std::string list = std::string(128, 'n') + ";a;" + std::string(128, 'm');
  const std::string record =
      "2:There is a invalid alternative name that will be ignored in certificate (too long name)";
  const CertificateHandle certificate(X509_new());
  EXPECT_EQ(AddExtensionsToCert(certificate.get(), std::string(list).data()), 1);
  EXPECT_EQ(Records(), record + record);
  // An extension that is too long to be encoded: the certificate can be filled, but not signed.
  WriteText(installation_.base() / "conf/qvxpd.xml",
            "<velquarn><multihomed>" + list + "</multihomed></velquarn>");
  const ExtensionHandle extension(X509_EXTENSION_new());
  X509_add_ext(certificate.get(), extension.get(), -1);
  ASN1_STRING_set0(X509_EXTENSION_get_data(X509_get_ext(certificate.get(), 0)), OPENSSL_malloc(1),
                   INT_MAX);
  X509* filled = certificate.get();
  EVP_PKEY* key = nullptr;
  EXPECT_EQ(makePkeyAndCert(&filled, &key, 1024, 1, "host"), 0);
  EXPECT_EQ(Records(), record + record + record + record);
}

TEST_F(CertificatePair, AbsentNameIsNobodys) {
  Shell(kMakers + "pair /CN=$h; cp cert.pem p");
  X509* certificate = nullptr;
  EVP_PKEY* key = nullptr;
  EXPECT_EQ(CheckCertValidity(nullptr), 1);
  EXPECT_EQ(makePkeyAndCert(&certificate, &key, 1024, 1, nullptr), 0);
  EXPECT_EQ(GenerateSelfSignedCertAndPrivateKey(nullptr), 0);
  EXPECT_EQ(Shell("cmp cert.pem p"), "");
  EXPECT_GT(OsGenerateRandomSeed(nullptr), 0);
  EXPECT_EQ(Records(), kOtherName);
}

TEST_F(CertificatePair, ValidityIsThatOfTheCertificateAlone) {
  const struct {
    const char* make;
    int32_t valid;
    std::string records = {};
  } rows[] = {
      {"rm cert.pem", 0},
      {"pair /CN=host", 1},
      {"pair \"/OU=$u/CN=host\"; rm file.pem", 1},
      {"pair \"/OU=$u/CN=other\"", 0, kOtherName},
      {"pair /OU=Others/CN=other", 1, kOtherName},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.make);
    std::filesystem::remove(QvxLogFile);
    Shell(kMakers + row.make);
    EXPECT_EQ(CheckCertValidity("host"), row.valid);
    EXPECT_EQ(Records(), row.records);
  }
}

CertificateHandle ReadCertificate(const char* path) {
  const StreamHandle file(BIO_new_file(path, "r"));
  return CertificateHandle(PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr));
}

/// Version 3, an RSA key and signature, and an extension with three names as its only one.
void ExpectForm(const CertificateHandle& certificate) {
  ASSERT_NE(certificate, nullptr);
  EXPECT_EQ(X509_get_version(certificate.get()), X509_VERSION_3);
  EXPECT_EQ(X509_get_signature_nid(certificate.get()), NID_sha1WithRSAEncryption);
  EVP_PKEY* key = X509_get0_pubkey(certificate.get());
  EXPECT_EQ(EVP_PKEY_get_bits(key), 2048);
  BIGNUM* exponent = nullptr;
  EXPECT_EQ(EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_E, &exponent), 1);
  EXPECT_EQ(BN_is_word(exponent, RSA_F4), 1);
  BN_free(exponent);
  EXPECT_EQ(X509_get_ext_count(certificate.get()), 1);
  EXPECT_EQ(X509_check_host(certificate.get(), "Other_1", 0, 0, nullptr), 1);
  EXPECT_EQ(X509_check_host(certificate.get(), "www.example.net", 0, 0, nullptr), 1);
  EXPECT_EQ(X509_check_ip_asc(certificate.get(), "10.0.0.5", 0), 1);
}

TEST_F(CertificatePair, PairOnDiskAndKeyThatSomebodyHasOpen) {
  WriteText(installation_.base() / "conf/qvxpd.xml",
            "<velquarn><multihomed>Other_1;10.0.0.5;www.example.net</multihomed></velquarn>");
  Shell("echo old >file.pem; chown 1000 file.pem; chmod 600 file.pem");
  char path[kPathCapacity];
  std::ifstream reader(GetPrivateKeyFilePathName(path));
  EXPECT_EQ(GetCertificateFilePathName(path), installation_.tls() / "cert.pem");
  const std::string mask = Shell("umask");
  EXPECT_EQ(GenerateSelfSignedCertAndPrivateKey("Host.Example"), 1);
  EXPECT_EQ(Shell("umask"), mask);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old\n");
  EXPECT_EQ(Shell("stat -c %a:%u:%g *"), "660:" + owner_ + "\n660:" + owner_ + "\n");
  const std::string show = "openssl x509 -in cert.pem -noout -nameopt RFC2253 ";
  const std::string name =
      "CN=Host.Example,OU=Brennick-Talvar Network Management Software (QVX),"
      "O=Brennick-Talvar Company,L=Torvane,ST=Vessa,C=US\n";
  EXPECT_EQ(Shell(show + "-subject -issuer"), "subject=" + name + "issuer=" + name);
  ExpectForm(ReadCertificate(path));
  const time_t serial = std::stoll(Shell("echo $((0x$(" + show + "-serial | cut -d= -f2)))"));
  const auto dates =
      "for d in startdate enddate; do date +%s -d \"$(" + show + "-$d | cut -d= -f2)\"; done";
  const time_t end = serial + ValiditySeconds(serial, 3652);
  EXPECT_EQ(Shell("openssl pkey -in file.pem -pubout"), Shell(show + "-pubkey"));
  EXPECT_EQ(Shell(dates), std::to_string(serial) + "\n" + std::to_string(end) + "\n");
  const Variable longest("SSL_SHARE_BASE_DIR", "/" + std::string(4086, 'x'));
  EXPECT_STREQ(GetCertificateFilePathName(path), "");  // it would take 4096 characters
  const Variable fitting("SSL_SHARE_BASE_DIR", "/" + std::string(4085, 'x'));
  EXPECT_EQ(strlen(GetCertificateFilePathName(path)), 4095U);
}

// The protection command does not fit this path, so the files are as they were born.
TEST_F(CertificatePair, UnprotectedPairIsTheAccountsFromBirth) {
  const std::string directory(240, 'd');
  Shell("mkdir " + directory +
        "; cd d*; : >file.pem; chmod 644 file.pem; chown 65534:65534 file.pem");
  const Variable share("SSL_SHARE_BASE_DIR", installation_.tls() / directory);
  EXPECT_EQ(GenerateSelfSignedCertAndPrivateKey("host"), 1);
  EXPECT_EQ(Shell("stat -c %a:%u:%g *"), "660:" + owner_ + "\n660:" + owner_ + "\n");
  const std::regex secured("0:(\\w+ ?\\w*) was successfully");
  EXPECT_EQ(Records(), std::regex_replace(kGenerated, secured, "2:$1 could not be successfully"));
  EXPECT_EQ(Shell("openssl x509 -in cert.pem -noout -ext subjectAltName"),
            "No extensions in certificate\n");
}

TEST_F(CertificatePair, FullDiskKeepsTheOldPairWhichIsDeletedAsFarAsItCanBe) {
  PassIsolated(CLONE_NEWNS, [this] {
    EXPECT_EQ(mount("none", installation_.tls().c_str(), "tmpfs", 0, "size=12288"), 0);
    EXPECT_EQ(Shell("echo old certificate >cert.pem; echo old key >file.pem"), "");
    EXPECT_EQ(GenerateSelfSignedCertAndPrivateKey("host"), 0);
    EXPECT_EQ(Shell("ls; cat *"), "cert.pem\nfile.pem\nold certificate\nold key\n");
    Shell("mount --bind file.pem file.pem");
    DeletePair();
    EXPECT_EQ(Shell("ls"), "file.pem\n");
  });
}

TEST_F(CertificatePair, FirstStartAndHostNameThatCannotBeRead) {
  PassIsolated(CLONE_NEWUTS, [this] {
    const std::string name(64, 'x');
    EXPECT_EQ(sethostname(name.data(), 63), 0);
    EXPECT_EQ(SSLServerInit(), 1);
    EXPECT_EQ(Shell("cd ../zxqvx; stat -c %a:%u:%g session session/php"),
              "755:" + owner_ + "\n755:" + owner_ + "\n");
    EXPECT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_IGN);
    EXPECT_EQ(sethostname(name.data(), 64), 0);
    EXPECT_EQ(GenerateSelfSignedCert(), 0);  // nothing can be made for an empty name
    EXPECT_EQ(Records(), kNoCertificate + kGenerated +
                             "2:Unable to get the hostname for the server\n" + kOtherName +
                             kOtherName);
  });
}

TEST_F(CertificatePair, OutcomeOfACheck) {
  enum class Outcome { kKept, kRefused, kSetAside, kReplaced };  // refused: not to be set aside
  using enum Outcome;
  const std::string der = "der | LC_ALL=C sed \"s/${n}X/$n\\x00/g\" | openssl x509 -out cert.pem";
  const struct {
    const char* name;
    std::string prepare, record = {};
    Outcome outcome = kKept;
  } rows[] = {
      {.name = "small key, old digest", .prepare = "pair /CN=$h rsa:512 md5"},
      {.name = "in capitals", .prepare = "pair /CN=$(echo $h | tr a-z A-Z) rsa:1024 sha1"},
      {.name = "EC",
       .prepare = "openssl ecparam -name secp224r1 -out p; pair /CN=$h ec:p; cat file.pem >>p; "
                  "mv p file.pem"},
      {.name = "chain", .prepare = "pair /CN=ca; mv cert.pem ca; pair /CN=$h; cat ca >>cert.pem"},
      {.name = "links that fit",
       .prepare = "pair /CN=$h; mv cert.pem c; mv file.pem f; ln -s c cert.pem; ln -s f file.pem"},
      {.name = "foreign", .prepare = "pair /OU=Elsewhere/CN=other", .record = kOtherName},
      {.name = "without a name", .prepare = "pair /O=Elsewhere", .record = kOtherName},
      {.name = "zero behind the name",
       .prepare = "n=$h; pair /CN=${h}X; " + der,
       .record = kOtherName},
      {.name = "zero behind the unit",
       .prepare = "n=$u; pair \"/OU=${u}X/CN=other\"; " + der,
       .record = kOtherName},
      {.name = "own",
       .prepare = "pair '/OU=BRENNICK-Talvar Network Management Software (QVX)/CN=other'",
       .record = kOtherName,
       .outcome = kReplaced},
      {.name = "own, for this host", .prepare = "pair \"/OU=$u/CN=$h\""},
      {"key of another pair", "pair /CN=$h; key rsa", kMismatch, kSetAside},
      {"key of another kind", "pair /CN=$h; key ed25519", kMismatch, kSetAside},
      {"encrypted key", "pair /CN=$h; lock", kNoKey, kSetAside},
      {"no key", "pair /CN=$h; rm file.pem", kNoKey, kSetAside},
      {"empty certificate", "pair /CN=$h; : >cert.pem", kNoCertificate, kSetAside},
      {"binary certificate", "pair /CN=$h; der >d; mv d cert.pem", kNoCertificate, kSetAside},
      {"pipe as the copy", "pair /CN=$h; key rsa; mkfifo certmm.pem", kMismatch, kSetAside},
      {"open directory", "pair /CN=$h; key rsa; setfacl -d -m o::r .", kMismatch, kSetAside},
      {.name = "links",
       .prepare = "pair /CN=$h; key rsa; mkdir a; mv cert.pem file.pem a; ln -s a/* .",
       .record = kMismatch,
       .outcome = kSetAside},
      {"pipes", "mkfifo cert.pem file.pem", kNoCertificate, kReplaced},
      {.name = "directory",
       .prepare = "mkdir cert.pem",
       .record = kNoCertificate + kCertificateAside + kNoCertificate + kCertificateAside,
       .outcome = kRefused},
      {.name = "links that are not followed",
       .prepare = "rmdir cert.pem; pair /CN=$h; mkdir b; chmod 600 *.pem; mv cert.pem file.pem b; "
                  "ln -s b/* .; chown -h 1000 *.pem",
       .record = kNoCertificate,
       .outcome = kSetAside},
  };
  const std::string open_files = Shell("ls /proc/$PPID/fd");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::filesystem::remove(QvxLogFile);
    Shell(kMakers + "setfacl -b .;" + row.prepare);
    const auto certificate = InShare("cert.pem");
    const auto key = InShare("file.pem");
    const bool is_kept = row.outcome == kKept || row.outcome == kRefused;
    const bool is_key_aside = row.outcome == kSetAside && key;
    std::string records = row.record;
    records.append(row.outcome == kSetAside ? kCertificateAside : "");
    records.append(is_key_aside ? kKeyAside : "").append(is_kept ? "" : kGenerated);
    if (row.record == kOtherName) {
      EXPECT_EQ(ReadCertificateDetails().value().is_ours, row.outcome == kReplaced);
    }
    EXPECT_EQ(GenerateSelfSignedCert(), row.outcome == kRefused ? 0 : 1);
    EXPECT_EQ(Records(), records);
    EXPECT_EQ(InShare("cert.pem") == certificate, is_kept);
    EXPECT_EQ(InShare("file.pem") == key, is_kept);
    EXPECT_EQ(InShare("certmm.pem"), row.outcome == kSetAside ? certificate : std::nullopt);
    EXPECT_EQ(InShare("filemm.pem"), is_key_aside ? key : "old\n");
    EXPECT_EQ(ModeOf(installation_.tls() / "filemm.pem"), is_key_aside ? 0600U : 0666U);
    EXPECT_EQ(ERR_peek_error(), 0U);
  }
  EXPECT_EQ(Shell("ls /proc/$PPID/fd"), open_files);
}

TEST_F(CertificatePair, KeyOfItsOwnIsOpenToTheGroup) {
  const std::string close = "chmod 600 file.pem; chown " + owner_ + " file.pem";
  for (const auto& [unit, mode] : {std::pair("$u", 0660U), std::pair("Elsewhere", 0600U)}) {
    Shell((kMakers + "pair \"/OU=").append(unit).append("/CN=$h\"; ").append(close));
    EXPECT_EQ(GenerateSelfSignedCert(), 1);
    EXPECT_EQ(ModeOf(installation_.tls() / "file.pem"), mode);
  }
  Shell(kMakers + "pair \"/OU=$u/CN=$h\"; " + close + "; chmod 640 file.pem");
  EXPECT_EQ(GenerateSelfSignedCert(), 1);
  EXPECT_EQ(ModeOf(installation_.tls() / "file.pem"), 0640U) << "somebody has opened it as far";
}

TEST_F(CertificatePair, PairOfARunThatHadTheLockStays) {
  Shell(kMakers + "pair /CN=$h; mkdir new; mv cert.pem file.pem new; pair /CN=$h; key rsa");
  const Descriptor share = OpenShare();
  ASSERT_EQ(flock(share.get(), LOCK_EX), 0);
  when_lock_is_refused = [&share] {
    Shell("mv new/* .");
    flock(share.get(), LOCK_UN);
  };
  EXPECT_EQ(GenerateSelfSignedCert(), 1);
  EXPECT_EQ(Records(), "");
}

TEST_F(CertificatePair, DirectoryInThePlaceOfTheKeyEndsAStart) {
  Shell("rm -f file.pem; mkdir file.pem");
  EXPECT_EQ(GenerateSelfSignedCert(), 0);
  EXPECT_EQ(GenerateSelfSignedCertAndPrivateKey("Host.Example"), 0);
}

TEST_F(CertificatePair, KeyThatCannotBeReplacedKeepsTheCertificate) {
  Shell(kMakers + "pair /CN=$h; key rsa; chattr +i file.pem");
  if (Shell("lsattr file.pem | cut -c5") != "i\n") {
    GTEST_SKIP() << "no immutable files on this file system";
  }
  const auto certificate = InShare("cert.pem");
  EXPECT_EQ(GenerateSelfSignedCert(), 0);
  EXPECT_EQ(InShare("cert.pem"), certificate);
  Shell("chattr -i file.pem");
}

}  // namespace
}  // namespace qvx::test
