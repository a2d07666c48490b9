// The sections that hold the nonlinear part of a model in free MPS files, after BOUNDS:
//
//   FORMULAS    <row> <@column, or 1 for none> <factor> <formula>
//   VARIABLES   <column> <key> <value>      keys: see kVariableKeys; DETROW has a row's name as its value
//   ROWSTATUS   <row> <status>
//
// A formula is in reverse Polish order, its tokens separated by blanks: numbers, @column, + - * / ** neg, and
// functions as "( argument ... name", such as "( @x sin" or "( @x @y 2 max". Numbers read back exactly.
#pragma once

#include "io/draft.h"
#include "io/mps_lines.h"
#include "io/output.h"
#include "io/output_names.h"

namespace tvlo {

enum class FormulaSection { formulas, variables, rowStatus };

// One line of a section; `rows` holds the objective at `objective`, -1 for none. Throws FileError.
void readFormulaLine(FormulaSection section, Draft& draft, const MpsLines& lines, const Lookup& rows, int objective);

bool hasFormulaSections(const Model& model);
// Throws Error when the formulas call user functions, which no file can hold.
void requireFormulasWritable(const Model& model);
void writeFormulaSections(const Model& model, const OutputNames& rows, const OutputNames& columns, OutputFile& out);

}  // namespace tvlo
