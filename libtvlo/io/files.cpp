#include "io/files.h"

#include "io/lp_lexer.h"
#include "io/lp_reader.h"
#include "io/lp_writer.h"
#include "io/mps_formulas.h"
#include "io/mps_reader.h"
#include "io/mps_writer.h"
#include "io/write_checks.h"

namespace tvlo {

namespace {

enum class Format { unknown, lp, fixedMps, freeMps, anyMps };

struct Flags {
  Format format = Format::unknown;
  bool gzip = false;
};

// The letter g concerns the nonlinear component, which passes its flags on.
Flags parseFlags(const std::string& flags, bool writing) {
  Flags parsed;
  for (const char flag : flags) {
    Format format = Format::unknown;
    switch (flag) {
      case 'l':
        format = Format::lp;
        break;
      case 'f':
        format = Format::fixedMps;
        break;
      case 'x':
        format = Format::freeMps;
        break;
      case 'z':
        parsed.gzip = true;
        break;
      case 'g':
      case ' ':
        break;
      default:
        throw Error(TVLO_ERR_ARGUMENT,
                    "Unknown flag " + quoted({&flag, 1}) + " of " + (writing ? "writing" : "reading") + " a problem");
    }
    if (format == Format::unknown) continue;
    if (parsed.format != Format::unknown && parsed.format != format) {
      throw Error(TVLO_ERR_ARGUMENT, "The flags " + quoted(flags) + " name more than one file format");
    }
    parsed.format = format;
  }
  return parsed;
}

Format formatOfName(const std::string& filename) {
  std::string name = lowerCase(filename);
  if (name.ends_with(".gz")) name.resize(name.size() - 3);
  if (name.ends_with(".lp")) return Format::lp;
  if (name.ends_with(".mps") || name.ends_with(".qps")) return Format::anyMps;
  return Format::unknown;
}

// LP files start with a sense, or with a comment that no MPS file has.
bool startsAsLp(const FileText& file) { return LpLexer(file.text).next().kind == LpKind::section; }

// MPS files start with one of a few sections, below comments.
bool startsAsMps(const FileText& file) {
  std::string_view rest = file.text;
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (trimmed(line).empty() || line.front() == '*') continue;
    const std::string word = lowerCase(line.substr(0, line.find_first_of(" \t\r")));
    return word == "name" || word == "rows" || word == "objsense" || word == "objname";
  }
  return false;
}

// The content counts; the name where that does not tell.
Format formatOf(const FileText& file, const std::string& filename) {
  if (startsAsLp(file)) return Format::lp;
  return formatOfName(filename) == Format::lp && !startsAsMps(file) ? Format::lp : Format::anyMps;
}

Draft readDraft(const FileText& file, Format format) {
  switch (format) {
    case Format::lp:
      return readLp(file);
    case Format::freeMps:
      return readMps(file, MpsForm::free);
    case Format::fixedMps:
      return readMps(file, MpsForm::fixed);
    default:
      return readMps(file);
  }
}

}  // namespace

void readProblem(Model& model, const std::string& filename, const std::string& flags) {
  model.clear();
  Format format = parseFlags(flags, false).format;
  const FileText file = readFileText(filename);
  if (format == Format::unknown) format = formatOf(file, filename);
  readDraft(file, format).moveTo(model);
}

void writeProblem(const Model& model, const std::string& filename, const std::string& flags) {
  const Flags parsed = parseFlags(flags, true);
  Format format = parsed.format;
  if (format == Format::unknown) format = formatOfName(filename);
  format == Format::lp ? requireLpWritable(model) : requireWritable(model);
  if (hasFormulaSections(model)) {
    if (format == Format::fixedMps) {
      throw Error(TVLO_ERR_UNSUPPORTED, "Fixed MPS format can't hold formulas; free MPS can");
    }
    if (format != Format::lp) format = Format::freeMps;
  }
  OutputFile out(filename, parsed.gzip || lowerCase(filename).ends_with(".gz"));
  if (format == Format::lp) {
    writeLp(model, out);
  } else if (format == Format::fixedMps) {
    writeMps(model, MpsForm::fixed, out);
  } else {
    writeMps(model, format == Format::freeMps ? MpsForm::free : defaultMpsForm(model), out);
  }
  out.commit();
}

}  // namespace tvlo
