/// <reference lib="esnext.disposable" />

export interface DatabaseOptions {
  bigints?: boolean | undefined;
  readonly?: boolean | undefined;
}

export interface Work {
  instructions: number;
  rows: number;
}

export interface Changes {
  changes: number;
  lastInsertRowid: number | bigint;
}

/** A database: a file, or memory for the path ":memory:". */
export class Database {
  constructor(path: string, options?: DatabaseOptions | undefined | null);
  /** Compiles one statement. */
  prepare(sql: string, options?: { signal?: AbortSignal }): Promise<Statement>;
  /** Runs statements that give nothing back. */
  exec(
    sql: string,
    options?: { signal?: AbortSignal; onProgress?: (value: Work) => void },
  ): Promise<void>;
  /** Its statements can be used further. */
  close(): void;
  [Symbol.dispose](): void;
}

/** A statement, made by Database.prepare. */
export class Statement {
  private constructor();
  /** All rows that it finds. */
  all(
    parameters?: (null | number | bigint | string | Uint8Array)[] | undefined | null,
    options?: { signal?: AbortSignal; onProgress?: (value: Work) => void },
  ): Promise<Record<string, null | boolean | number | bigint | string | Uint8Array>[]>;
  /** The first row that it finds. */
  get(
    parameters?: (null | number | bigint | string | Uint8Array)[] | undefined | null,
    options?: { signal?: AbortSignal; onProgress?: (value: Work) => void },
  ): Promise<Record<string, null | boolean | number | bigint | string | Uint8Array> | undefined>;
  /** Runs it for what it changes. */
  run(
    parameters?: (null | number | bigint | string | Uint8Array)[] | undefined | null,
    options?: { signal?: AbortSignal; onProgress?: (value: Work) => void },
  ): Promise<Changes>;
  get sql(): string;
  close(): void;
  [Symbol.dispose](): void;
}

export const sqliteVersion: string;

/** What is thrown where native code fails. */
export type { ZaxBindingError } from 'zaxbase/runtime';
