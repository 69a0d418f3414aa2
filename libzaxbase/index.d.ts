// For build files; the paths are relative to the folder of the process that asks, but for those in
// the flags.

/**
 * The framework as one more of an add-on's sources, after its own, for add-ons on zax.h: prebuilt objects
 * where they fit what is built, and one source file elsewhere, or with ZAXBASE_COMPILE in the environment.
 * With ZAXBASE_SPLIT only the half without V8. Asking for it writes the file, into the folder `build`.
 */
export const source: string;

/** The same for add-ons with jobs by hand. */
export const frameSource: string;

/** What the compiler needs for it, and for the add-on's own files: gyp's `cflags_cc`. */
export const flags: string[];

/** The folder of the headers. */
export const include_dir: string;

/** For jobs by hand: a gyp target to depend on, instead of `frameSource` and `flags`. */
export const targets: string;

export const version: string;
