/** What memory.mjs has. It is JavaScript since the benchmark, which runs it as it stands, is. */
export function browserMemory(): { all: number; files: number };
