#include "Tool.h"

int main(int argc, char** argv) { return orvane::plexa::tool::Run(argc, argv); }
