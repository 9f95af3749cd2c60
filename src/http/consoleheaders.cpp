#include "http/consoleheaders.h"

namespace Http {

void confineConsole(Response* response)
{
    for (const auto& [name, value] : {
             std::pair{"Content-Security-Policy",
                       "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
                       "img-src 'self' data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
                       "require-trusted-types-for 'script'; trusted-types 'none'"},
             std::pair{"X-Content-Type-Options", "nosniff"},
             std::pair{"Referrer-Policy", "no-referrer"},
             std::pair{"Cross-Origin-Resource-Policy", "same-origin"},
             std::pair{"Cross-Origin-Opener-Policy", "same-origin"},
             std::pair{"Cache-Control", "no-store"},
         })
        response->headers.push_back({name, value});
}

} // namespace Http
