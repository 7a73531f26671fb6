import { useEffect, useRef, useState } from 'preact/hooks';
import { useApp } from '../app.js';
import { thumbnailAddress } from '../library/addresses.js';
import { Icon } from '../shell/icon.js';

/** The first photo of an album, from when it comes near to what is seen. */
export function Cover({ id }: { id: string }) {
  const { galleries } = useApp();
  const element = useRef<HTMLSpanElement>(null);
  const [isNear, setNear] = useState(false);
  const [asset, setAsset] = useState<string | null>(null);
  const [isBroken, setBroken] = useState(false);
  const version = galleries.version.value;
  useEffect(() => {
    const near = new IntersectionObserver(
      (entries) => entries.some(({ isIntersecting }) => isIntersecting) && setNear(true),
      { rootMargin: '300px' },
    );
    near.observe(element.current as HTMLElement);
    return () => near.disconnect();
  }, []);
  useEffect(() => {
    if (!isNear) return;
    let isCurrent = true;
    void galleries.cover(id).then((cover) => {
      if (isCurrent) setAsset(cover);
    });
    return () => void (isCurrent = false);
  }, [isNear, id, version]);
  useEffect(() => setBroken(false), [asset]);
  return (
    <span ref={element} class="cover">
      {asset !== null && !isBroken ? (
        <img src={thumbnailAddress(asset, 512)} alt="" decoding="async" onError={() => setBroken(true)} />
      ) : (
        <Icon name="photos" />
      )}
    </span>
  );
}
