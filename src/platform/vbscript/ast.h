// The tree the parser builds and the interpreter walks: expressions, statements and
// procedures. Names keep the spelling of their first appearance; lookups ignore case.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "contracts/value.h"

namespace korad::vbscript {

enum class ExprKind : uint8_t {
  kLiteral,  // a number, string, date, True/False/Empty/Null/Nothing
  kName,     // a bare name: a variable, or a procedure called without arguments
  kCall,     // name(arguments): a procedure call or an array element
  kIndex,    // call(...)(index): an element of the array a call returns
  kParen,    // (expression): passes an argument by value
  kUnary,
  kBinary,
};

enum class Operator : uint8_t {
  kNeg, kNot,
  kPow, kMul, kDiv, kIntDiv, kMod, kAdd, kSub, kConcat,
  kEq, kNe, kLt, kGt, kLe, kGe, kIs,
  kAnd, kOr, kXor, kEqv, kImp,
};

struct Expr;
using ExprPtr = std::unique_ptr<Expr>;

struct Expr {
  ExprKind kind = ExprKind::kLiteral;
  Operator op = Operator::kAdd;
  int line = 0;
  int height = 1;  // of the tree below and including this node
  Value literal;
  std::string name;
  ExprPtr left;   // operand of kUnary, kParen and kIndex, left of kBinary
  ExprPtr right;
  std::vector<ExprPtr> args;
};

enum class StmtKind : uint8_t {
  kAssign, kCall, kDim, kReDim, kConst, kIf, kSelect, kFor, kForEach, kDo, kWhile, kExit,
  kOptionExplicit,
};

enum class ExitKind : uint8_t { kNone, kDo, kFor, kFunction, kSub };

struct Stmt;
using StmtPtr = std::unique_ptr<Stmt>;
using Block = std::vector<StmtPtr>;

struct Branch {
  ExprPtr condition;            // If/ElseIf; empty for Else
  std::vector<ExprPtr> values;  // Case value list; empty for Case Else
  Block body;
};

struct DimEntry {
  std::string name;
  std::vector<ExprPtr> bounds;  // upper bounds of an array, empty for a plain variable
  bool isArray = false;         // "Dim a()" has no bounds but is an array
};

struct Stmt {
  StmtKind kind = StmtKind::kCall;
  int line = 0;
  // kAssign: target name, its index arguments and the value. kCall: name and arguments.
  // kFor/kForEach: the loop variable. kConst: the constant.
  std::string name;
  std::vector<ExprPtr> args;
  ExprPtr value;                  // assigned value; Select's subject; Do/While condition
  bool isSet = false;             // "Set x = ..."
  bool preserve = false;          // "ReDim Preserve"
  bool conditionAfter = false;    // Do ... Loop While/Until
  bool until = false;             // Until rather than While
  ExprPtr from, to, step;         // For; kForEach uses `from` for the collection
  ExitKind exit = ExitKind::kNone;
  std::vector<DimEntry> dims;
  std::vector<Branch> branches;   // If and Select
  Block body;                     // loops; the Else of If and Case Else of Select
  bool hasElse = false;
};

struct Parameter {
  std::string name;
  bool byRef = true;  // the engine's default
};

struct Procedure {
  std::string name;
  bool isFunction = false;
  std::vector<Parameter> params;
  Block body;
};

// What one AddCode, ExecuteStatement or Eval text parses into.
struct Program {
  std::vector<std::shared_ptr<Procedure>> procedures;
  Block statements;
  bool optionExplicit = false;
};

}  // namespace korad::vbscript
