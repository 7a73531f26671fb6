/** Finds where one stretch of a sorted list ends and the next begins, with few questions. */

/** A stretch of equal keys: it begins here and ends where the next one begins. */
export interface Run<K> {
  readonly start: number;
  readonly key: K;
}

/** The keys of the elements from `start` to `end`; fewer when the list has become shorter. */
export type ReadKeys<K> = (start: number, end: number) => Promise<readonly K[]>;

/** A stretch of so few elements is read at once. */
export const kReadWhole = 32;
/** How many parts a longer one is cut into, by questions that are under way at the same time. */
export const kParts = 4;

interface Gap<K> {
  readonly from: Run<K>;
  readonly to: Run<K>;
}

/**
 * The runs of the elements from `start` to `end`. Equal keys must lie together: what lies between
 * two equal ones is not looked at. A list that changes meanwhile gives runs of one moment or the
 * other, in order, and never an endless search.
 */
export async function findRuns<K>(start: number, end: number, read: ReadKeys<K>): Promise<Run<K>[]> {
  if (end <= start) return [];
  const one = async (index: number) => (await read(index, index + 1))[0];
  const [first, last] = await Promise.all([one(start), one(end - 1)]);
  if (first === undefined) return [];
  const runs: Run<K>[] = [{ start, key: first }];
  // A list that ends earlier now has no last one: all of it counts as unlike the first.
  let gaps: Gap<K>[] = [{ from: { start, key: first as K }, to: { start: end - 1, key: last as K } }].filter(isOpen);
  while (gaps.length > 0) gaps = (await Promise.all(gaps.map((gap) => narrow(gap, read, runs)))).flat();
  return tidy(runs);
}

function isOpen<K>({ from, to }: Gap<K>): boolean {
  return from.key !== to.key && from.start < to.start;
}

/** Reads the gap, or cuts it; gives the parts that are still open. */
async function narrow<K>({ from, to }: Gap<K>, read: ReadKeys<K>, runs: Run<K>[]): Promise<Gap<K>[]> {
  const size = to.start - from.start;
  if (size <= kReadWhole) {
    const keys = await read(from.start + 1, to.start + 1);
    let before = from.key;
    keys.forEach((key, offset) => {
      if (key !== before) runs.push({ start: from.start + 1 + offset, key });
      before = key;
    });
    return [];
  }
  const cuts = Array.from({ length: kParts - 1 }, (_, cut) =>
    from.start + Math.floor((size * (cut + 1)) / kParts),
  );
  const points = await Promise.all(
    cuts.map(async (start) => {
      const key = (await read(start, start + 1))[0];
      // Where nothing is any more, it is as at the end.
      return { start, key: key === undefined ? to.key : key };
    }),
  );
  const places = [from, ...points, to];
  return places
    .slice(1)
    .map((place, index) => ({ from: places[index] as Run<K>, to: place }))
    .filter(isOpen);
}

/** In order, and no two of the same key beside one another. */
function tidy<K>(runs: Run<K>[]): Run<K>[] {
  runs.sort((a, b) => a.start - b.start);
  return runs.filter((run, index) => index === 0 || run.key !== runs[index - 1]?.key);
}
