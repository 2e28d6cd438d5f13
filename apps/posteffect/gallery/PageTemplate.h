// page.html, whose {{data}} stands for the pictures.
#pragma once

namespace posteffect {

extern const char* const kPageTemplate;

}  // namespace posteffect
