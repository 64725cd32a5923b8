"""States of certificate and key, by machinery, and what a start may make of them."""
import re
import shutil
import ssl
import subprocess

from judge import TLS, text_of
from stage import OPT

NAMES = ("cert.pem", "file.pem")
ASIDE = ("certmm.pem", "filemm.pem")
OURS = "/OU=Brennick-Talvar Network Management Software (QVX)/CN="
MADE = OPT / "made"  # pairs, each a folder


def openssl(*words):
    return subprocess.run(["openssl", *map(str, words)], check=True, stdin=subprocess.DEVNULL,
                          capture_output=True).stdout


def make(name, key, subject="/O=Elsewhere/CN=elsewhere", *more):
    """Makes a pair, and returns its two texts."""
    folder = MADE / name
    folder.mkdir(parents=True, exist_ok=True)
    openssl("genpkey", "-out", folder / "key", *key)
    openssl("req", "-x509", "-new", "-key", folder / "key", "-subj", subject, "-out",
            folder / "cert", *more)
    return [(folder / "cert").read_bytes(), (folder / "key").read_bytes()]


CA = ("[ca]\ndefault_ca=own\n[own]\ndatabase={0}/index\nserial={0}/serial\ndefault_md=sha256\n"
      "policy=any\nnew_certs_dir={0}\n[any]\ncommonName=optional\n")


def dated(pair, start, end):
    """Makes a certificate for the key of a pair, valid from one year to another."""
    folder = MADE / pair
    (folder / "index").write_text("")
    (folder / "conf").write_text(CA.format(folder))
    openssl("req", "-new", "-key", folder / "key", "-subj", "/CN=elsewhere", "-out", folder / "asked")
    openssl("ca", "-batch", "-notext", "-selfsign", "-rand_serial", "-config", folder / "conf",
            "-keyfile", folder / "key", "-in", folder / "asked", "-out", folder / "dated",
            "-startdate", f"{start}0101000000Z", "-enddate", f"{end}0101000000Z")
    return [(folder / "dated").read_bytes(), (folder / "key").read_bytes()]


EC = ("-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256")


def rsa(bits):
    return "-algorithm", "RSA", "-pkeyopt", f"rsa_keygen_bits:{bits}"


def kinds():
    """Pairs of every kind by their names, each two texts."""
    pairs = {"EC": make("ec", EC), "Ed25519": make("ed", ("-algorithm", "ED25519")),
             "RSA of 1024 bits": make("small", rsa(1024)), "RSA of 4096 bits": make("big", rsa(4096)),
             "RSA-PSS": make("pss", ("-algorithm", "RSA-PSS", *rsa(2048)[2:])),
             "SHA-1": make("sha1", EC, "/CN=elsewhere", "-sha1"),
             "another host": make("ours", EC, OURS + "elsewhere"),
             "expired": dated("ec", 2001, 2002), "not yet valid": dated("ec", 2048, 2049)}
    certificate, key = pairs["EC"]
    other_certificate, other_key = pairs["Ed25519"]
    folder = MADE / "ec"
    pairs["X25519"] = [certificate, openssl("genpkey", "-algorithm", "X25519")]
    pairs["DER"] = [openssl("x509", "-in", folder / "cert", "-outform", "DER"),
                    openssl("pkey", "-in", folder / "key", "-outform", "DER")]
    pairs["encrypted"] = [certificate, openssl("pkey", "-in", folder / "key", "-aes256",
                                               "-passout", "pass:secret")]
    pairs["EC in the old form"] = [certificate, openssl("ec", "-in", folder / "key")]
    pairs["chain"] = [certificate + other_certificate, key]
    pairs["chain the wrong way round"] = [other_certificate + certificate, key]
    pairs["other key"] = [certificate, other_key]
    pairs["changed places"] = [key, certificate]
    pairs["both in both"] = [certificate + key] * 2
    pairs["trusted"] = [openssl("x509", "-in", folder / "cert", "-trustout"), key]
    pairs["CRLF"] = [text.replace(b"\n", b"\r\n") for text in pairs["EC"]]
    pairs["byte order mark"] = [b"\xef\xbb\xbf" + text for text in pairs["EC"]]
    pairs["words around"] = [b"Bag\n" + text + b"end" for text in pairs["EC"]]
    pairs["no line feed at the end"] = [text.rstrip() for text in pairs["EC"]]
    for size in (0, 1, (1 << 20) - 1, 1 << 20, (1 << 20) + 1):
        padded = [(text + b"\n" * size)[:size] for text in pairs["EC"]]
        pairs[f"certificate of {size} bytes"] = [padded[0], key]
        pairs[f"key of {size} bytes"] = [certificate, padded[1]]
    return pairs


def place_text(path, text):
    path.write_bytes(text)
    shutil.chown(path, "zxqvx", "zxqvx")
    path.chmod(0o660)


def fits(certificate, key):
    """Whether a TLS server would take the pair. A password is an empty text."""
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.set_ciphers("ALL:@SECLEVEL=0")
    try:
        context.load_cert_chain(certificate, key, password="")
    except (OSError, ValueError):
        return False
    return True


# A library can use these pairs, but the launcher reads one certificate and no more than 1 MiB.
REFUSED = re.compile(r"trusted|1048577 bytes")
REPLACED = "another host"  # the launcher's own certificate is not kept


def lay(texts, name=""):
    """Lays a pair of a kind. Afterwards one stands there that fits; it is the old one if that did.
    Otherwise both old files have been set aside."""
    for file in NAMES + ASIDE:
        (TLS / file).unlink(missing_ok=True)
    for file, text in zip(NAMES, texts):
        place_text(TLS / file, text)
    did_fit = fits(*(TLS / file for file in NAMES)) and not REFUSED.search(name)

    def findings():
        found = [text_of(TLS / file) for file in NAMES]
        if not fits(*(TLS / file for file in NAMES)) and found != texts:
            return ["the pair does not fit"]
        if name == REPLACED or found == texts:
            return []
        return ["a pair that fitted was replaced"] if did_fit else [
            f"the old {file} is lost" for file, aside, text in zip(NAMES, ASIDE, texts)
            if text not in (text_of(TLS / file), text_of(TLS / aside))]
    return findings


def damaged(texts):
    """The texts of a pair cut at each byte, without it, and with a bit of it flipped."""
    for which, text in enumerate(texts):
        for at in range(len(text)):
            flipped = text[:at] + bytes([text[at] ^ 1 << at % 8]) + text[at + 1:]
            for what, new in (("cut", text[:at]), ("flipped", flipped),
                              ("short of a byte", text[:at] + text[at + 1:])):
                changed = list(texts)
                changed[which] = new
                yield f"{NAMES[which]} {what} at {at}", changed


def entries(texts):
    """What can stand at the two names beside files, by name."""
    def link(name):
        place_text(OPT / f"far {name}", texts[NAMES.index(name)])
        (TLS / name).symlink_to(OPT / f"far {name}")

    makers = {"missing": lambda name: None, "directory": lambda name: (TLS / name).mkdir(),
              "link": link, "dangling link": lambda name: (TLS / name).symlink_to("/opt/nowhere"),
              "loop": lambda name: (TLS / name).symlink_to(name),
              "pipe": lambda name: subprocess.run(["mkfifo", TLS / name], check=True)}
    for kind, maker in makers.items():
        for chosen in (NAMES[:1], NAMES[1:], NAMES):
            yield f"{kind} at {' and '.join(chosen)}", chosen, maker


def lay_entry(texts, chosen, maker):
    """Lays a pair with something else in the place of the chosen files."""
    lay(texts)
    for name in chosen:
        (TLS / name).unlink()
        maker(name)

    def findings():
        folders = [TLS / name for name in NAMES if (TLS / name).is_dir()]
        for folder in folders:  # it stays, and no start comes up
            folder.rmdir()
        return [] if folders or fits(*(TLS / name for name in NAMES)) else ["the pair does not fit"]
    return findings
