// SPDX-License-Identifier: Apache-2.0
// Expression trees over the columns of a record, used by the derived columns (CalcPlan).
//
// Trees are immutable and shared. Arithmetic nodes evaluate their right operand first, compute in
// double precision and widen the result back to long double; a division by zero gives 0.
#ifndef PERFLIB_BITS_EXPRESSION_H
#define PERFLIB_BITS_EXPRESSION_H

#include <functional>
#include <list>
#include <memory>
#include <string>

#include "export.h"

namespace perflib {

class Record;

// The node classes are plain values, frozen for the life of the soname (perflib/abi): a new kind
// of node is a new class.
class PERFLIB_EXPORT Expression {
 public:
  virtual ~Expression();
  // t is the length in seconds of the interval the record covers.
  virtual long double eval(Record* record, long t) const = 0;
  // Column names read by the tree: depth first, left before right, once per occurrence.
  virtual std::list<std::string> get_dependencies() const;
};

class PERFLIB_EXPORT ConstExpression : public Expression {
 public:
  explicit ConstExpression(long double value) : value(value) {}
  long double eval(Record* record, long t) const override;
  long double value;
};

class PERFLIB_EXPORT TimeExpression : public Expression {
 public:
  long double eval(Record* record, long t) const override;
};

// The value of a column; throws std::runtime_error "unmatched field name" when the record's
// layout has no such column.
class PERFLIB_EXPORT RefExpression : public Expression {
 public:
  explicit RefExpression(std::string name) : name(std::move(name)) {}
  long double eval(Record* record, long t) const override;
  std::list<std::string> get_dependencies() const override;
  std::string name;
};

class PERFLIB_EXPORT EvalExpression : public Expression {
 public:
  using Op = std::function<long double(long double, long double)>;
  EvalExpression(std::shared_ptr<Expression> left, std::shared_ptr<Expression> right, Op op)
      : left(std::move(left)), right(std::move(right)), op(std::move(op)) {}
  long double eval(Record* record, long t) const override;
  std::list<std::string> get_dependencies() const override;
  std::shared_ptr<Expression> left;
  std::shared_ptr<Expression> right;
  Op op;
};

// A derived column the current engine no longer provides: evaluation always throws
// std::runtime_error "deprecated expression".
class PERFLIB_EXPORT DeprecatedExpression : public Expression {
 public:
  long double eval(Record* record, long t) const override;
};

using ExpressionPtr = std::shared_ptr<Expression>;

PERFLIB_EXPORT ExpressionPtr ex(long double value);
PERFLIB_EXPORT ExpressionPtr ex(std::string name);
PERFLIB_EXPORT ExpressionPtr ex(ExpressionPtr e);
PERFLIB_EXPORT ExpressionPtr ex(ExpressionPtr a, ExpressionPtr b, EvalExpression::Op f);

PERFLIB_EXPORT ExpressionPtr operator+(ExpressionPtr a, ExpressionPtr b);
PERFLIB_EXPORT ExpressionPtr operator-(ExpressionPtr a, ExpressionPtr b);
PERFLIB_EXPORT ExpressionPtr operator*(ExpressionPtr a, ExpressionPtr b);
PERFLIB_EXPORT ExpressionPtr operator/(ExpressionPtr a, ExpressionPtr b);

}  // namespace perflib

#endif
