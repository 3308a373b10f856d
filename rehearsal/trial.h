// Whether this machine lets a rehearsal do what it is made of.
#pragma once

namespace marrow::rehearsal {

// Makes a namespace, mounts in it and attaches a loop device with a partition, all of which is gone
// when it returns: in a container, a node that is there may still be closed. Throws the Problem
// that says what does not work and what can be done about it.
void requireUsableMachine();

}  // namespace marrow::rehearsal
