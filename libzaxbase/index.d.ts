// For build files; the paths are relative to the folder of the process that asks.

/** The folder of the headers. */
export const include_dir: string;

/** The gyp target that an add-on depends on. */
export const targets: string;

export const version: string;
