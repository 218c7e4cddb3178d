#include "CommandLine/HelpText.h"

namespace Pelgra {

std::string_view helpText()
{
    return R"(Converts image and PDF files. Every output is a new file beside its input.

Usage:
  pelgra convert --to FORMAT [OPTION]... FILE...   convert each file
  pelgra create FILE...                            one PDF with a page for each image
  pelgra merge FILE...                             one PDF of all the PDFs
  pelgra split FILE                                a folder with a PDF for each page
  pelgra organize --pages LIST [OPTION]... FILE    a PDF of the listed pages
  pelgra targets FILE...                           which conversions and tools the files allow
  pelgra wheel                                     start the desktop program
  pelgra tap convert|tools                         stand for a tap of the wheel's key, in a key binding
  pelgra doctor                                    what works in this session, to go with a bug report

FORMAT is jpg, png, heic, tiff, bmp or pdf for images; jpg, png, heic, tiff, bmp, txt or md for PDFs.

Options of convert:
  --jpeg-quality NUMBER   0 to 1, default 0.9
  --heic-quality NUMBER   0 to 1, default 0.9
  --dpi NUMBER            dots per inch of page images, default 300

Options of organize:
  --pages LIST            pages and ranges, such as 3,1-2,5-4,1:90 (page 1 turned clockwise)
  --uniform-width         scale wider pages down to the narrowest

Options of every command:
  --json                  print one JSON object for each result
  --                      what follows is a file, even if it begins with a dash
  --help, --version

Prints the path of each output on a line of its own. The exit status is 0 when every output is complete and on disk,
1 when a job failed, 2 when the command line was not understood.
)";
}

} // namespace Pelgra
