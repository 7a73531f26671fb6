import type { RefObject } from 'preact';
import { useEffect, useMemo, useRef, useState } from 'preact/hooks';
import type { GridView } from '../grid/grid_view.js';
import { dateOf } from '../library/date_keys.js';
import type { Listing } from '../library/listing.js';
import { monthText } from './date_texts.js';
import { stepFrom, yearMarks, type YearMark } from './year_marks.js';

interface ScrubberProps {
  readonly view: GridView;
  readonly listing: Listing;
  /** Called by the grid whenever it shows something else. */
  readonly drawn: RefObject<() => void>;
}

/** Pixels that the label of a year takes. */
const kLabelHeight = 26;
/** Milliseconds for which the place is told after scrolling. */
const kShown = 1100;

/** The years at the edge, in proportion to their photos, and where among them one is. */
export function Scrubber({ view, listing, drawn }: ScrubberProps) {
  const track = useRef<HTMLDivElement>(null);
  const [place, setPlace] = useState({ index: 0, text: '' });
  const [marks, setMarks] = useState<readonly YearMark[]>([]);
  const [isActive, setActive] = useState(false);
  const [isDragging, setDragging] = useState(false);

  useEffect(() => {
    const mark = () => {
      const height = track.current?.clientHeight ?? 0;
      setMarks(listing.isByDate ? yearMarks(listing.sections, listing.count, height, kLabelHeight) : []);
    };
    const end = listing.listen({ learned: mark, replaced: mark });
    const resizing = new ResizeObserver(mark);
    resizing.observe(track.current as HTMLElement);
    let timer: ReturnType<typeof setTimeout> | undefined;
    let before = 0;
    drawn.current = () => {
      const index = view.place;
      setPlace({ index, text: placeText(listing, view, index) });
      if (Math.abs(view.position - before) < 2) return;
      before = view.position;
      setActive(true);
      clearTimeout(timer);
      timer = setTimeout(() => setActive(false), kShown);
    };
    drawn.current();
    mark();
    return () => {
      end();
      resizing.disconnect();
      clearTimeout(timer);
      drawn.current = () => {};
    };
  }, [view, listing]);

  const last = Math.max(listing.count - 1, 1);
  const jump = (event: PointerEvent, isPassing: boolean) => {
    const { top, height } = (track.current as HTMLElement).getBoundingClientRect();
    const fraction = Math.max(0, Math.min((event.clientY - top) / height, 1));
    view.jumpTo(Math.round(fraction * last), isPassing);
  };
  const pressed = (event: PointerEvent) => {
    track.current?.setPointerCapture(event.pointerId);
    setDragging(true);
    jump(event, false);
  };
  const keyPressed = (event: KeyboardEvent) => {
    const target = stepFrom(place.index, event.key, listing.sections, listing.count);
    if (target === null) return;
    event.preventDefault();
    view.jumpTo(target);
  };
  const years = useMemo(() => marks.map(({ year, index, isLabelled }) => (
    <span key={year} class={isLabelled ? 'year' : 'year dot'} style={{ top: `${(100 * index) / last}%` }}>
      {isLabelled && year}
    </span>
  )), [marks, last]);
  const classes = ['scrubber', isActive && 'active', isDragging && 'dragging'];
  return (
    <div class={classes.filter(Boolean).join(' ')} onWheel={({ deltaY }) => view.scrollBy(deltaY)}>
      <div ref={track} class="track" role="slider" tabIndex={0} aria-label="Date"
        aria-orientation="vertical" aria-valuemin={0} aria-valuemax={last}
        aria-valuenow={place.index} aria-valuetext={place.text} onKeyDown={keyPressed}
        onPointerDown={pressed} onPointerMove={(event) => isDragging && jump(event, true)}
        onPointerUp={() => setDragging(false)} onPointerCancel={() => setDragging(false)}>
        {years}
        <span class="handle" style={{ top: `${(100 * place.index) / last}%` }}>
          <span class="bubble">{place.text}</span>
        </span>
      </div>
    </div>
  );
}

function placeText(listing: Listing, view: GridView, index: number): string {
  if (!listing.isByDate) return `${(index + 1).toLocaleString()} of ${listing.count.toLocaleString()}`;
  const asset = listing.record(index);
  if (asset !== undefined) return monthText(asset.creationDate);
  const { level, key } = view.sectionOf(index);
  if (level === null) return '';
  return level === 'year' ? String(key) : monthText(dateOf(key, level).getTime());
}
