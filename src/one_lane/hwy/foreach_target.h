// Highway compiles the including file once for every instruction set from here; one lane needs no
// more than the file itself.
#pragma once
