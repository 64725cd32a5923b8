#include "webconf/server_conf_templates.h"

#include <string_view>

/// A few lines end in blanks, which stay in the file. Empty lines are for the reader, and the
/// writer drops them.
constexpr char confSections[kConfSections][kConfSectionCapacity] = {
    // Section 0: global settings, written once.
    R"conf(#
Listen 2301
Listen 2381
ServerRoot `QVXBaseDir`

PidFile logs/httpd.pid

Timeout 300

KeepAlive On
MaxKeepAliveRequests 100
KeepAliveTimeout 15

<IfModule worker.c>
StartServers         1
MaxClients          MaxThreads?
MinSpareThreads     MaxThreads?
MaxSpareThreads     MaxThreads?
ThreadsPerChild     MaxThreads?
ServerLimit          1
MaxRequestsPerChild  0
</IfModule>

<IfModule perchild.c>
NumServers           5
StartThreads         5
MinSpareThreads      5
MaxSpareThreads     10
MaxThreadsPerChild  20
MaxRequestsPerChild  0
</IfModule>

<IfModule mpm_winnt.c>
ThreadsPerChild MaxThreads?
MaxRequestsPerChild  0
</IfModule>

LoadModule access_module modules/mod_access.so
LoadModule actions_module modules/mod_actions.so
LoadModule alias_module modules/mod_alias.so
LoadModule cgi_module modules/mod_cgi.so
LoadModule dir_module modules/mod_dir.so
LoadModule env_module modules/mod_env.so
LoadModule imap_module modules/mod_imap.so
LoadModule log_config_module modules/mod_log_config.so
LoadModule mime_module modules/mod_mime.so
LoadModule proxy_module modules/mod_proxy.so
LoadModule proxy_connect_module modules/mod_proxy_connect.so
LoadModule proxy_http_module modules/mod_proxy_http.so
LoadModule negotiation_module modules/mod_negotiation.so
LoadModule rewrite_module modules/mod_rewrite.so
LoadModule setenvif_module modules/mod_setenvif.so
LoadModule headers_module modules/mod_headers.so
LoadModule qvx_help_module modules/mod_qvx_help.so
LoadModule php4_module modules/QVXphpName

<IfModule !mpm_winnt.c>
#
# If you wish httpd to run as a different user or group, you must run
# httpd as root initially and it will switch.  
#
User zxqvx
Group zxqvx
</IfModule>

UseCanonicalName Off

<Directory />
    Options FollowSymLinks
    AllowOverride None
#IP_RESTRICTION_BLOCK
</Directory>

DirectoryIndex index.html index.htm index.php

<Files ~ `^\.ht`>
    Order allow,deny
    Deny from all
</Files>

TypesConfig conf/mime.types

DefaultType text/plain

<IfModule mod_mime_magic.c>
    MIMEMagicFile conf/magic
</IfModule>

HostnameLookups Off

ErrorLog QVXErrorLog

LogLevel QVXLogLevel

LogFormat `%h %l %u %t \`%r\` %>s %b \`%{Referer}i\` \`%{User-Agent}i\`` combined
LogFormat `%h %l %u %t \`%r\` %>s %b` common
LogFormat `%{Referer}i -> %U` referer
LogFormat `%{User-agent}i` agent

CustomLog QVXAccessLog

ServerTokens min

ServerSignature Off

ScriptAlias /cgi-bin/ `QVXBaseDir/data/cgi-bin/`

AddEncoding x-compress Z
AddEncoding x-gzip gz tgz

AddLanguage da .dk
AddLanguage nl .nl
AddLanguage en .en
AddLanguage et .et
AddLanguage fr .fr
AddLanguage de .de
AddLanguage he .he
AddLanguage el .el
AddLanguage it .it
AddLanguage ja .ja
AddLanguage pl .po
AddLanguage ko .ko
AddLanguage pt .pt
AddLanguage nn .nn
AddLanguage no .no
AddLanguage pt-br .pt-br
AddLanguage ltz .ltz
AddLanguage ca .ca
AddLanguage es .es
AddLanguage sv .sv
AddLanguage cz .cz
AddLanguage ru .ru
AddLanguage hr .hr
AddLanguage zh-CN .zh-cn
AddLanguage zh-TW .zh-tw

LanguagePriority en da nl et fr de el it ja ko no pl pt pt-br ltz ca es sv zh-TW zh-CN

ForceLanguagePriority Prefer Fallback

AddCharset ISO-8859-1  .iso8859-1  .latin1
AddCharset ISO-8859-2  .iso8859-2  .latin2 .cen
AddCharset ISO-8859-3  .iso8859-3  .latin3
AddCharset ISO-8859-4  .iso8859-4  .latin4
AddCharset ISO-8859-5  .iso8859-5  .latin5 .cyr .iso-ru
AddCharset ISO-8859-6  .iso8859-6  .latin6 .arb
AddCharset ISO-8859-7  .iso8859-7  .latin7 .grk
AddCharset ISO-8859-8  .iso8859-8  .latin8 .heb
AddCharset ISO-8859-9  .iso8859-9  .latin9 .trk
AddCharset ISO-2022-JP .iso2022-jp .jis
AddCharset ISO-2022-KR .iso2022-kr .kis
AddCharset ISO-2022-CN .iso2022-cn .cis
AddCharset Big5        .Big5       .big5
# For russian, more than one charset is used (depends on client, mostly):
AddCharset WINDOWS-1251 .cp-1251   .win-1251
AddCharset CP866       .cp866
AddCharset KOI8-r      .koi8-r .koi8-ru
AddCharset KOI8-ru     .koi8-uk .ua
AddCharset ISO-10646-UCS-2 .ucs2
AddCharset ISO-10646-UCS-4 .ucs4
AddCharset UTF-8       .utf8

AddCharset GB2312      .gb2312 .gb 
AddCharset utf-7       .utf7
AddCharset utf-8       .utf8
AddCharset big5        .big5 .b5
AddCharset EUC-TW      .euc-tw
AddCharset EUC-JP      .euc-jp
AddCharset EUC-KR      .euc-kr
AddCharset shift_jis   .sjis

AddType application/x-tar .tgz
AddType image/x-icon .ico
AddType application/x-httpd-php .php
AddType text/html .tpl

BrowserMatch `Mozilla/2` nokeepalive
BrowserMatch `MSIE 4\.0b2;` nokeepalive downgrade-1.0 force-response-1.0
BrowserMatch `RealPlayer 4\.0` force-response-1.0
BrowserMatch `Java/1\.0` force-response-1.0
BrowserMatch `JDK/1\.0` force-response-1.0

BrowserMatch `Microsoft Data Access Internet Publishing Provider` redirect-carefully
BrowserMatch `^WebDrive` redirect-carefully
BrowserMatch `^WebDAVFS/1.[012]` redirect-carefully
BrowserMatch `^gnome-vfs` redirect-carefully

ProxyRequests Off
<IfModule mod_proxy.c>
ProxyRequests Off

<Proxy *>
    Order deny,allow
    Deny from all
    Allow from all
</Proxy>

ProxyVia On

</IfModule>

<IfModule mod_rewrite.c>
RewriteEngine On
</IfModule>

)conf",
    // Section 1: virtual host on port 2301, once for each bind address.
    R"conf(# listen QVXBindIP:2301

<VirtualHost QVXBindIP:2301>
ServerName QVXBindIP:2301
ProxyRequests Off
DocumentRoot `QVXBaseDir/data/isdocs`

<Directory `QVXBaseDir/data/isdocs`>
    Options MultiViews
    Options +FollowSymLinks
    AllowOverride None
</Directory>

RewriteEngine On
RewriteCond %{QUERY_STRING} (\.|%2e)(\.|%2e)(\\|/|%5c|%2f) [NC] 
RewriteRule .* - [F]
RewriteRule \NMZ.*$ - [F]
RewriteCond %{REQUEST_METHOD} ^TRACE
RewriteRule .* - [F]
RewriteRule ^/tmklogin.htm /red2301.html

RewriteMap map1 txt:QVXBaseDir/conf/ralolist.map
RewriteCond %{REQUEST_URI} ^/([^/]+).*
RewriteCond ${map1:%1|NONE} ^(http.*) [NC]
RewriteRule ^(/.*) %1$1 [P]
RewriteCond %{REQUEST_URI} ^/Proxy/LookupTag/(.*)
RewriteCond ${map1:%1|NONE} ^(http.*) [NC]
RewriteRule ^(/.*) %1$1 [P]
RewriteCond %{REQUEST_URI} ^/Proxy/TranslateTag/(.*)
RewriteCond ${map1:%1|NONE} ^(http.*) [NC]
RewriteRule ^(/.*) %1$1 [P]

ProxyPreserveHost on

Header set Server: TormekHTTPServer/9.9

<Location /Proxy/YRStatusReport>
SetHandler qvx_config_handler
</Location>

<Location /proxy/yrstatusreport>
SetHandler qvx_config_handler
</Location>

<Location /Proxy/Registration>
SetHandler qvx_bc_handler
</Location>

<Location /Proxy/Reconnect>
SetHandler qvx_bc_handler
</Location>

<Location /Proxy/GetRALOs>
SetHandler qvx_bc_handler
</Location>

<Location /navfile.htm>
SetHandler qvx_bc_handler
</Location>

</VirtualHost>

)conf",
    // Section 2: TLS globals, written once.
    R"conf(AddType application/x-x509-ca-cert .crt
AddType application/x-pkcs7-crl    .crl

SSLPassPhraseDialog  builtin

SSLSessionCache         shmcb:logs/scache(512000)
SSLSessionCacheTimeout  300

SSLMutex  default

SSLRandomSeed startup builtin
SSLRandomSeed connect builtin

)conf",
    // Section 3: TLS virtual host on port 2381, once for each bind address.
    R"conf(# listen QVXBindIP:2381

<VirtualHost QVXBindIP:2381>
ServerName QVXBindIP:2381
ProxyRequests Off
DocumentRoot `QVXBaseDir/data/htdocs`

<Directory `QVXBaseDir/data/htdocs`>
    Options +MultiViews
    AllowOverride None
</Directory>

<Directory `QVXBaseDir/data/cgi-bin`>
    Options +MultiViews
    AllowOverride None
    AddHandler cgi-script cgi exe zxq
</Directory>

<Location /proxy/qvxstatus>
SetHandler qvx_config_handler
</Location>

RewriteEngine On
RewriteCond %{QUERY_STRING} (\.|%2e)(\.|%2e)(\\|/|%5c|%2f) [NC] 
RewriteRule .* - [F]
RewriteRule \NMZ.*$ - [F]
RewriteCond %{REQUEST_METHOD} ^TRACE
RewriteRule .* - [F]
RewriteRule ^/tmklogin.htm /tmklogin.php
RewriteMap map1 txt:QVXBaseDir/conf/ralolist.map
RewriteCond %{REQUEST_URI} ^/([^/]+).*
RewriteCond ${map1:%1|NONE} ^(http.*) [NC]
RewriteRule ^(/.*) %1$1 [P]

RewriteCond %{REQUEST_URI} ^/Proxy/LookupTag/(.*)
RewriteCond ${map1:%1|NONE} ^(http.*) [NC]
RewriteRule ^(/.*) %1$1 [P]

RewriteCond %{REQUEST_URI} ^/Proxy/TranslateTag/(.*)
RewriteCond ${map1:%1|NONE} ^(http.*) [NC]
RewriteRule ^(/.*) %1$1 [P]

ProxyPreserveHost on

<Location /proxy/qvxui/*>
SetHandler qvx_ui_handler
</Location>

<Location /cimom>
SetHandler qvx_config_handler
</Location>

<Location /Proxy/configui>
SetHandler qvx_config_handler
</Location>

<Location /proxy/GetQVXData>
SetHandler qvx_config_handler
</Location>

<Location /proxy/SetQVXData>
SetHandler qvx_config_handler
</Location>

<Location /proxy/AddYRCert>
SetHandler qvx_config_handler
</Location>

<Location /proxy/qvximp_c.htm>
SetHandler pkcs-handler
</Location>

<Location /proxy/qvxgen_c.htm>
SetHandler pkcs-handler
</Location>

<Location /proxy/qvxreg_c.htm>
SetHandler pkcs-handler
</Location>

<Location /Proxy/GetRALOs>
SetHandler qvx_bc_handler
</Location>

<Location /navfile.htm>
SetHandler qvx_bc_handler
</Location>

SSLEngine on

SSLProtocol All SSLV2?

SSLCipherSuite ALL:!ADH:!EXPORT56:!EXPORT40:RC4+RSA:+HIGH:+MEDIUM:SSLV2?:+EXP:-LOW:+eNULL

SSLCertificateFile QVXSSLDir/cert.pem

SSLCertificateKeyFile QVXSSLDir/file.pem

<Files ~ `\.(zxq|exe|cgi|shtml|phtml|php3?)$`>
    SSLOptions +StdEnvVars
</Files>

<Directory `QVXBaseDir/cgi-bin`>
    SSLOptions +StdEnvVars
</Directory>

Alias /zxhelp `QVXBaseDir/data/help`

<Directory `QVXBaseDir/data/help`>
     Options ExecCGI MultiViews
     AllowOverride None
     Order allow,deny
     Allow from all
     SSLOptions +StdEnvVars
     AddHandler cgi-script cgi exe zxq
</Directory>

<Location /help>
    # The qvx_help_handler requires the /zxhelp Alias defined above...
    # It also catches the `?topic=` & `?query=` query string values 
    SetHandler qvx_help_handler
</Location>
SetEnvIf User-Agent `.*MSIE.*` \
         nokeepalive ssl-unclean-shutdown \
         downgrade-1.0 force-response-1.0

</VirtualHost>

)conf"};

/// The sizes catch an editor that trims blanks or changes line ends.
static_assert(std::string_view(confSections[0]).size() == 5065 &&
              std::string_view(confSections[1]).size() == 1393 &&
              std::string_view(confSections[2]).size() == 270 &&
              std::string_view(confSections[3]).size() == 2801);
