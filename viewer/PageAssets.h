// The viewer's page (HTML, script, style), compiled into the library from viewer/page.
#pragma once

#include <cstddef>
#include <span>

namespace pellucid::viewer {

struct PageAsset {
    const char* path;  // "/index.html"; the page also as "/"
    const char* mediaType;
    const unsigned char* data;
    size_t size;
};

std::span<const PageAsset> pageAssets();

}  // namespace pellucid::viewer
