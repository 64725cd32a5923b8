// The floor of a start's memory: starts the libraries that the launcher uses, and ends.
#include <apr_general.h>
#include <expat.h>
#include <openssl/ssl.h>

int main() {
  apr_initialize();
  OPENSSL_init_ssl(0, nullptr);
  SSL_CTX_free(SSL_CTX_new(TLS_server_method()));
  XML_ParserFree(XML_ParserCreate(nullptr));
  apr_terminate();
}
