// Walk(message, visitor) for the plain structs; see walk.h.
#ifndef SCHEMA_BENCH_PEERS_MODEL_WALK_H_
#define SCHEMA_BENCH_PEERS_MODEL_WALK_H_

#include "model.h"
#include "visitors.h"

namespace model {

#define MESSAGE_OF(Type) const Type&
#define GET(name, lower, Camel) m.name
#define TEXT(name, lower, Camel) std::string_view(m.name)
#define HAS(name, lower, Camel) m.name
#define SUB(name, lower, Camel) *m.name
#define MANY(name, lower, Camel) m.name
#define IS(number, name, lower, Camel, type) m.name
#define CHOSEN SUB
#define ELEMENT(x) x
#define TEXT_ELEMENT(x) std::string_view(x)
#define KEY(x) std::string_view(x.first)
#define MAPPED(x) x.second
#include "walk.h"

}  // namespace model

#endif  // SCHEMA_BENCH_PEERS_MODEL_WALK_H_
